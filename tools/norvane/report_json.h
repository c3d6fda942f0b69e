// SPDX-License-Identifier: Apache-2.0
/// The results of one image as JSON.
#pragma once

#include "host_image.h"
#include "image_settings.h"
#include "masks_run.h"
#include "source_image.h"

#include <string>

namespace Norvane::Host {

/// Statuses, geometry and masks as text, one row of a mask a line. Rows are [y, first, last, first, last, ...] in
/// pixels of the working grid, both ends in; a pixel of the source lies at scale times its coordinates.
[[nodiscard]] std::string report_json(const std::string& file, const SourceImage& source, const ImageSettings& settings,
                                      const PreparedImage& prepared, MasksResult& masks);

}  // namespace Norvane::Host
