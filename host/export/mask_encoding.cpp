// SPDX-License-Identifier: Apache-2.0
#include "export/mask_encoding.h"

#include "export/sha256.h"

#include <algorithm>

namespace Norvane::Host {

std::vector<std::size_t> coco_counts(const MaskBitmap& bitmap) {
    std::vector<std::size_t> counts{0};
    bool is_inside = false;
    for (unsigned x = 0; x < bitmap.width; ++x) {
        for (unsigned y = 0; y < bitmap.height; ++y) {
            if (bitmap.at(x, y) != is_inside) {
                is_inside = !is_inside;
                counts.push_back(0);
            }
            ++counts.back();
        }
    }
    return counts;
}

std::string sha256_of(const MaskBitmap& bitmap) {
    std::vector<std::uint8_t> bytes(bitmap.pixels.size());
    std::ranges::transform(bitmap.pixels, bytes.begin(), [](std::uint8_t v) { return v != 0 ? 1 : 0; });
    return hexadecimal(sha256(bytes));
}

}  // namespace Norvane::Host
