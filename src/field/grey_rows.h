// SPDX-License-Identifier: Apache-2.0
/// What the frame search asks of runs of grey pixels, as plain loops that the compiler vectorises.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace Norvane {

/// 0 for an empty run.
[[nodiscard]] inline std::uint16_t largest_of(std::span<const std::uint16_t> pixels) {
    std::uint16_t largest = 0;
    for (const std::uint16_t v : pixels) largest = std::max(largest, v);
    return largest;
}

/// Calls visit(i) for the pixels at or above `level` in rising order until it returns false. Such pixels are few: the
/// stretches between them are passed over a block at a time.
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
