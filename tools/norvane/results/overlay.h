// SPDX-License-Identifier: Apache-2.0
/// The picture of a mammogram with its masks drawn on it.
#pragma once

#include "analysis/masks_run.h"

#include <norvane/image.h>

#include <string>
#include <vector>

namespace Norvane::Host {

/// The bytes of a PNG file: the prepared image in grey, the outlines in colours, and beside it a legend with `title`,
/// `facts` (one a line) and the statuses in words.
[[nodiscard]] std::string draw_overlay(const Image& prepared, MasksResult& masks, const std::string& title,
                                       const std::vector<std::string>& facts);

}  // namespace Norvane::Host
