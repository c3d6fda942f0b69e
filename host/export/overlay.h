// SPDX-License-Identifier: Apache-2.0
/// The picture of a mammogram with its masks drawn on it.
#pragma once

#include "export/mask_drawing.h"
#include "findings/image_analysis.h"

#include <string>

namespace Norvane::Host {

/// The prepared image in grey, the outlines in colours, and beside it a legend with `title`, the settings and the
/// statuses in words.
[[nodiscard]] Surface overlay_surface(ImageAnalysis& analysis, const std::string& title);

/// The same as the bytes of a PNG file.
[[nodiscard]] std::string draw_overlay(ImageAnalysis& analysis, const std::string& title);

}  // namespace Norvane::Host
