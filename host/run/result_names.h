// SPDX-License-Identifier: Apache-2.0
/// Gives the results of the inputs their names in one folder.
#pragma once

#include "run/inputs.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The name that an input gets unless another input has it: its path below its base, or the name of its file if it has
/// no base; without the ending of an image format, but with ".frame3" if the input is this frame alone. It depends on
/// no other input, so that a later run finds the results.
[[nodiscard]] std::string own_result_name(const Input& input);

/// Fills in the names. If a name is taken, a number is added (exam, exam-2), so that no input overwrites the results of
/// another.
void give_result_names(std::vector<Input>& inputs);

}  // namespace Norvane::Host
