// SPDX-License-Identifier: Apache-2.0
/// Names for the results of several inputs in one folder.
#pragma once

#include "run/inputs.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The name that an input has as long as no other claims it: its path below its base, or the file's name where it has
/// no base; without the ending of an image, but with ".frame3" if the input is about this frame alone. It depends on no
/// other input, so that a later run finds the results again.
[[nodiscard]] std::string own_result_name(const Input& input);

/// Fills in the names. One that is taken gets a number (exam, exam-2), so that no input overwrites another's results.
void give_result_names(std::vector<Input>& inputs);

}  // namespace Norvane::Host
