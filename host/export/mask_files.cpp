// SPDX-License-Identifier: Apache-2.0
#include "export/mask_files.h"

#include "export/write_png.h"
#include "findings/image_rows.h"

#include <utility>

namespace Norvane::Host {

void add_mask_files(OutputSet& outputs, const std::filesystem::path& stem, const Image& prepared, MasksResult& masks) {
    const std::pair<const char*, Mask*> files[] = {{".frame.png", &masks.frame.mask},
                                                   {".breast.png", &masks.breast.mask},
                                                   {".pectoral.png", &masks.pectoral.mask},
                                                   {".full.png", &masks.full.mask},
                                                   {".outer.png", &masks.outer}};
    for (const auto& [ending, mask] : files) {
        const MaskBitmap bitmap = bitmap_of(*mask, prepared.GetWidth(), prepared.GetHeight());
        outputs.add(stem.string() + ending,
                    encode_png(bitmap.pixels, bitmap.width, bitmap.height, PngContent::kRegions));
    }
}

}  // namespace Norvane::Host
