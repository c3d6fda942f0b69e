// SPDX-License-Identifier: Apache-2.0
/// Writes the masks as pictures.
#pragma once

#include "export/mask_layers.h"
#include "export/write_png.h"
#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// A grey 8-bit PNG of the size of the working grid: 255 inside the mask and 0 outside.
template <const MaskLayer& layer>
[[nodiscard]] std::string mask_png(const Findings& findings) {
    const Image& grid = findings.working_image();
    const MaskBitmap bitmap = layer.region_of(findings.masks).bitmap(grid.GetWidth(), grid.GetHeight());
    return encode_png(bitmap.pixels, bitmap.width, bitmap.height, DeflatedContent::kRegions);
}

}  // namespace Norvane::Host
