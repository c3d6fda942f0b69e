// SPDX-License-Identifier: Apache-2.0
#include "export/mask_encoding.h"

#include "export/sha256.h"

#include <algorithm>
#include <span>
#include <utility>

namespace Norvane::Host {
namespace {

// The pixels that differ from the one before them, counted down the columns. Before the first one lies background. Rows
// are compared with the row above, because that reads the memory in its order, and most stretches of it are equal.
std::vector<std::size_t> coco_changes(const MaskBitmap& bitmap) {
    const std::size_t width = bitmap.width, height = bitmap.height;
    std::vector<std::size_t> changes;
    for (std::size_t x = 0; x < width && height > 0; ++x) {
        const bool was_inside = x > 0 && bitmap.pixels[(height - 1) * width + x - 1] != 0;
        if ((bitmap.pixels[x] != 0) != was_inside) changes.push_back(x * height);
    }
    constexpr std::size_t kStretch = 64;  // pixels
    for (std::size_t y = 1; y < height; ++y) {
        const std::span row(&bitmap.pixels[y * width], width);
        const std::span above(&bitmap.pixels[(y - 1) * width], width);
        for (std::size_t first = 0; first < width; first += kStretch) {
            const std::size_t end = std::min(first + kStretch, width);
            if (std::equal(&row[first], row.data() + end, &above[first])) continue;
            for (std::size_t x = first; x < end; ++x) {
                if ((row[x] != 0) != (above[x] != 0)) changes.push_back(x * height + y);
            }
        }
    }
    std::ranges::sort(changes);
    return changes;
}

}  // namespace

std::vector<std::size_t> coco_counts(const MaskBitmap& bitmap) {
    std::vector<std::size_t> counts;
    std::size_t last = 0;
    for (const std::size_t change : coco_changes(bitmap)) counts.push_back(change - std::exchange(last, change));
    counts.push_back(std::size_t{bitmap.width} * bitmap.height - last);
    return counts;
}

std::string sha256_of(const MaskBitmap& bitmap) {
    std::vector<std::uint8_t> bytes(bitmap.pixels.size());
    std::ranges::transform(bitmap.pixels, bytes.begin(), [](std::uint8_t v) { return v != 0 ? 1 : 0; });
    return hexadecimal(sha256(bytes));
}

}  // namespace Norvane::Host
