// SPDX-License-Identifier: Apache-2.0
/// Writes a diagnostic picture of an outline: black on white, as a plain portable grey map. If the file cannot be
/// opened, nothing is written and nothing reported.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include <string>
#include <vector>

namespace Norvane {

/// Draws the ends of the mask's runs. If there is no mask, draws the points, x and y in turn; null means none.
void save_outline(const std::string& file_name, const Image& image, const Mask* mask, const std::vector<int>* points);

}  // namespace Norvane
