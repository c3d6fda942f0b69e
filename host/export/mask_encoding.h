// SPDX-License-Identifier: Apache-2.0
/// Masks of the working grid in the forms that other programs read or compare.
#pragma once

#include "findings/region.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Norvane::Host {

/// Run lengths as COCO has them before its text compression: down one column after the other, pixels outside and
/// inside in turn, beginning with those outside (0 where the first pixel is inside).
[[nodiscard]] std::vector<std::size_t> coco_counts(const MaskBitmap& bitmap);

/// In hexadecimal, of width x height bytes, row by row: 1 for a pixel of the mask and 0 for any other.
[[nodiscard]] std::string sha256_of(const MaskBitmap& bitmap);

}  // namespace Norvane::Host
