// SPDX-License-Identifier: Apache-2.0
/// Loops of the frame search over rows of grey pixels, written so that the compiler vectorises them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace Norvane {

/// The largest grey level; 0 if there are no pixels.
[[nodiscard]] inline std::uint16_t largest_of(std::span<const std::uint16_t> pixels) {
    std::uint16_t largest = 0;
    for (const std::uint16_t v : pixels) largest = std::max(largest, v);
    return largest;
}

/// Calls visit(i) for the pixels at or above `level`, in ascending order, until it returns false. Such pixels are rare,
/// so the pixels between them are skipped in blocks.
template <class Visit>
void visit_at_least(std::uint16_t level, std::span<const std::uint16_t> pixels, Visit visit) {
    constexpr std::size_t kBlock = 32;
    for (std::size_t begin = 0; begin < pixels.size(); begin += kBlock) {
        const std::size_t end = std::min(begin + kBlock, pixels.size());
        if (end - begin == kBlock && largest_of(pixels.subspan(begin).first<kBlock>()) < level) continue;
        for (std::size_t i = begin; i < end; ++i)
            if (pixels[i] >= level && !visit(i)) return;
    }
}

}  // namespace Norvane
