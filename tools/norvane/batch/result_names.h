// SPDX-License-Identifier: Apache-2.0
/// Names for the results of several inputs in one folder.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

/// A name for each file: its own without the ending of an image file. A name that is taken gets a number (exam,
/// exam-2), so that no input overwrites another's results.
[[nodiscard]] std::vector<std::string> result_names(const std::vector<std::string>& files);

}  // namespace Norvane::Host
