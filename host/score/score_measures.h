// SPDX-License-Identifier: Apache-2.0
/// Measures how well a mask agrees with a truth.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Norvane::Host {

/// The largest number of rows and of columns of a region. It keeps squares of distances within 32 bits.
inline constexpr unsigned kMostScoredSide = 32000;

/// One byte per pixel, row by row: 0 outside and anything else inside.
struct LabelPixels {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> pixels;
};

struct OutlineDistance {
    double mean = 0.0;         ///< mean distance from an outline pixel to the other outline, over both directions
    double hausdorff95 = 0.0;  ///< 95 % of the distances do not exceed this; the larger value of the two directions
};

struct Score {
    double dice = 1.0;
    double jaccard = 1.0;
    std::size_t truth_pixels = 0;
    std::size_t mask_pixels = 0;
    std::optional<OutlineDistance> outline;  ///< in pixels; nothing if only one of the regions has an outline
};

/// Two empty regions agree fully. If only one is empty, they do not agree at all.
///
/// A region's outline: its pixels with a 4-neighbour outside it. The border of the image cuts both regions off, so it
/// is not part of an outline. If neither region has an outline, the distance is 0.
[[nodiscard]] Score score(const LabelPixels& truth, const LabelPixels& mask);

/// For each pixel the exact square of its distance, in pixels, to the nearest pixel of the region. If the region is
/// empty, a number above any such square.
[[nodiscard]] std::vector<std::uint32_t> squared_distances(const LabelPixels& region);

}  // namespace Norvane::Host
