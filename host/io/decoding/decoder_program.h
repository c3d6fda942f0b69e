// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Norvane::Host {

/// The program of the workers: norvane-decoder beside the program or shared object that this code is part of, or where
/// the installation of that has it. Neither PATH nor another variable of the environment decides, and a file of a
/// stranger is passed over. Empty when there is none.
[[nodiscard]] std::string decoder_program();

}  // namespace Norvane::Host
