// SPDX-License-Identifier: Apache-2.0
#include "findings/chest_wall_side.h"

#include "findings/grey_rows.h"
#include "io/refusal.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Norvane::Host {
namespace {

// A quarter of the width is compared, because a thin strip at the border could be frame, scanner border or padding.
constexpr unsigned kBorderFraction = 4;
// If the means differ by less than this share of the larger one, or by fewer grey levels than this, they decide
// nothing.
constexpr double kLeastRelativeDifference = 0.1;
constexpr double kLeastDifference = 300.0;
// If one border is brighter by more than this factor, the chest wall is there, whatever the header says.
constexpr double kClearRatio = 2.0;

// If no header says the side, the share of tissue decides. Tissue is brighter than this quantile by more than this
// share of the range. The quantile is background even if the image was cropped to the breast.
constexpr double kBackgroundQuantile = 0.05;
constexpr double kTissueRise = 10.0 / 255.0;
// If the shares differ by less than this, they decide nothing.
constexpr double kLeastShareDifference = 0.02;

// Mean grey level of the columns x0 .. x1 - 1 in the middle rows. Frame pixels are left out: they are always bright.
double mean_without_frame(const Image& image, unsigned x0, unsigned x1) {
    const unsigned margin = image.GetHeight() / 10;
    std::uint64_t sum = 0, count = 0;
    for (unsigned y = margin; y < image.GetHeight() - margin; ++y) {
        std::uint32_t row_sum = 0, row_count = 0;  // of less than 65536 columns
        for (const std::uint32_t grey : grey_row(image, y).subspan(x0, x1 - x0)) {
            const bool is_frame = grey >= Masking::P_FRAME;
            row_sum += is_frame ? 0 : grey;
            row_count += is_frame ? 0 : 1;
        }
        sum += row_sum;
        count += row_count;
    }
    return count > 0 ? static_cast<double>(sum) / static_cast<double>(count) : 0.0;
}

// The lowest grey level of tissue.
std::uint16_t tissue_level(const Image& image) {
    std::vector<std::size_t> counts(std::size_t{Masking::P_FRAME}, 0);
    std::size_t total = 0;
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        for (const std::uint16_t grey : grey_row(image, y)) {
            if (grey >= Masking::P_FRAME) continue;
            ++counts[grey];
            ++total;
        }
    }
    if (total == 0) return 0;
    const auto wanted = static_cast<std::size_t>(kBackgroundQuantile * static_cast<double>(total));
    std::size_t least = counts.size(), largest = 0, background = 0, below = 0;
    for (std::size_t grey = 0; grey < counts.size(); ++grey) {
        if (counts[grey] == 0) continue;
        least = std::min(least, grey);
        largest = grey;
        if (below <= wanted) background = grey;
        below += counts[grey];
    }
    return static_cast<std::uint16_t>(static_cast<double>(background) +
                                      kTissueRise * static_cast<double>(largest - least));
}

// The share of the columns x0 .. x1 - 1 that is tissue. A frame does not count as tissue.
double tissue_share(const Image& image, unsigned x0, unsigned x1, std::uint16_t level) {
    std::size_t tissue = 0;
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        const auto pixels = grey_row(image, y).subspan(x0, x1 - x0);
        tissue += static_cast<std::size_t>(std::ranges::count_if(
            pixels, [level](std::uint16_t grey) { return grey > level && grey < Masking::P_FRAME; }));
    }
    return static_cast<double>(tissue) / (static_cast<double>(x1 - x0) * image.GetHeight());
}

}  // namespace

BrighterBorder brighter_border(const Image& prepared) {
    const unsigned width = prepared.GetWidth();
    const unsigned depth = std::max(width / kBorderFraction, 1U);
    const double left = mean_without_frame(prepared, 0, depth);
    const double right = mean_without_frame(prepared, width - depth, width);
    BrighterBorder border;
    border.means =
        fmt::format("mean grey level {} on the left, {} on the right", std::lround(left), std::lround(right));
    const auto [darker, brighter] = std::minmax(left, right);
    if (brighter - darker < std::max(kLeastDifference, kLeastRelativeDifference * brighter)) return border;
    border.side = left > right ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
    border.is_clear = brighter > kClearRatio * darker;
    return border;
}

Sourced<IMAGE_SIDE> choose_side(const Image& prepared, const Said<Laterality>& laterality,
                                std::optional<IMAGE_SIDE> otherwise) {
    const unsigned width = prepared.GetWidth();
    const unsigned depth = std::max(width / kBorderFraction, 1U);
    const std::uint16_t level = tissue_level(prepared);
    const double left = tissue_share(prepared, 0, depth, level);
    const double right = tissue_share(prepared, width - depth, width, level);
    const std::string shares =
        fmt::format("tissue in {:.1f} % of the left quarter, {:.1f} % of the right one", 100.0 * left, 100.0 * right);
    if (std::abs(left - right) >= kLeastShareDifference) {
        const IMAGE_SIDE side = left > right ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        return {side, fmt::format("more tissue lies at the {} border ({})", name_of(side), shares)};
    }
    const BrighterBorder border = brighter_border(prepared);
    if (border.side) {
        return {*border.side,
                fmt::format("the {} border is the brighter one ({}; {})", name_of(*border.side), shares, border.means)};
    }
    if (laterality) {
        return {hung_side(laterality->value), fmt::format("a {} breast; the borders do not show the side ({}; {})",
                                                          name_of(laterality->value), shares, border.means)};
    }
    if (otherwise)
        return {*otherwise, fmt::format("the default that is given, as the borders do not tell ({})", shares)};
    throw Refusal(
        fmt::format("does not show where the chest wall is ({}; {}): give --default-side", shares, border.means));
}

IMAGE_SIDE hung_side(Laterality laterality) {
    return laterality == Laterality::kLeft ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
}

}  // namespace Norvane::Host
