// SPDX-License-Identifier: Apache-2.0
/// The results of one image as JSON.
#pragma once

#include "analysis/image_analysis.h"

#include <string>

namespace Norvane::Host {

/// Statuses, geometry and masks as text, one row of a mask a line. Rows are [y, first, last, first, last, ...] in
/// pixels of the working grid, both ends in; a pixel of the source lies at scale times its coordinates.
[[nodiscard]] std::string report_json(const std::string& file, ImageAnalysis& analysis);

}  // namespace Norvane::Host
