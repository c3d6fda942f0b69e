// SPDX-License-Identifier: Apache-2.0
/// Diagnostic picture of an outline: black on white, as a plain portable grey map. A file that cannot be opened is
/// passed over in silence.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include <string>
#include <vector>

namespace Norvane {

/// Draws the ends of the mask's runs; without a mask the points, x and y in turn (null: none).
void save_outline(const std::string& file_name, const Image& image, const Mask* mask, const std::vector<int>* points);

}  // namespace Norvane
