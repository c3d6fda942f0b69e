// SPDX-License-Identifier: Apache-2.0
/// Encodes masks of the working grid in forms that other programs read or compare.
#pragma once

#include "findings/region.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Norvane::Host {

/// Run lengths in COCO's uncompressed form. They go down one column after another and alternate between pixels outside
/// and inside. The first one counts pixels outside; it is 0 if the first pixel is inside.
[[nodiscard]] std::vector<std::size_t> coco_counts(const MaskBitmap& bitmap);

/// SHA-256, in hexadecimal, of width x height bytes, row by row: 1 for a pixel of the mask and 0 for any other.
[[nodiscard]] std::string sha256_of(const MaskBitmap& bitmap);

}  // namespace Norvane::Host
