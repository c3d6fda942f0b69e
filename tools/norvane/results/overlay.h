// SPDX-License-Identifier: Apache-2.0
/// The picture of a mammogram with its masks drawn on it.
#pragma once

#include "analysis/image_analysis.h"

#include <string>

namespace Norvane::Host {

/// The bytes of a PNG file: the prepared image in grey, the outlines in colours, and beside it a legend with `title`,
/// the settings and the statuses in words.
[[nodiscard]] std::string draw_overlay(ImageAnalysis& analysis, const std::string& title);

}  // namespace Norvane::Host
