// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Norvane::Host {

/// The path of norvane-decoder, the program of the workers. It lies beside the program or shared object that this code
/// is part of, or in the folder that its installation uses. No environment variable, not even PATH, has an influence,
/// and a file that another user owns is ignored. Empty if there is none.
[[nodiscard]] std::string decoder_program();

}  // namespace Norvane::Host
