// SPDX-License-Identifier: Apache-2.0
/// How well a mask meets a truth.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Norvane::Host {

/// Most rows and most columns of a region: squares of distances stay within 32 bits.
inline constexpr unsigned kMostScoredSide = 32000;

/// One byte a pixel, 0 outside and anything else inside, row by row.
struct LabelPixels {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> pixels;
};

struct OutlineDistance {
    double mean = 0.0;         ///< of the distances from each outline pixel to the other outline, both ways together
    double hausdorff95 = 0.0;  ///< 95 % of the distances are at most this, in the worse of the two directions
};

struct Score {
    double dice = 1.0;
    double jaccard = 1.0;
    std::size_t truth_pixels = 0;
    std::size_t mask_pixels = 0;
    std::optional<OutlineDistance> outline;  ///< in pixels; nothing where one of the regions has no outline
};

/// Two empty regions meet fully, an empty and another one not at all.
///
/// The outline of a region are its pixels that have one of its outside as one of their four neighbours. At the border
/// of the image both regions are cut off alike, so that nothing there is outline; two regions without outline lie at
/// distance 0.
[[nodiscard]] Score score(const LabelPixels& truth, const LabelPixels& mask);

/// The square of the distance of each pixel to the nearest one that is not 0, in pixels and exact; a number above any
/// such square where there is none.
[[nodiscard]] std::vector<std::uint32_t> squared_distances(const LabelPixels& region);

}  // namespace Norvane::Host
