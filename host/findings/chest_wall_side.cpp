// SPDX-License-Identifier: Apache-2.0
#include "findings/chest_wall_side.h"

#include "findings/grey_rows.h"
#include "io/refusal.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

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

// Mean grey level of the columns x0 .. x1 - 1 in the middle rows. Frame pixels are left out: they are always bright.
double mean_without_frame(const Image& image, unsigned x0, unsigned x1) {
    const unsigned margin = image.GetHeight() / 10;
    double sum = 0.0;
    double count = 0.0;
    for (unsigned y = margin; y < image.GetHeight() - margin; ++y) {
        for (const std::uint16_t grey : grey_row(image, y).subspan(x0, x1 - x0)) {
            if (grey >= Masking::P_FRAME) continue;
            sum += grey;
            count += 1.0;
        }
    }
    return count > 0.0 ? sum / count : 0.0;
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

Sourced<IMAGE_SIDE> choose_side(const Image& prepared, const Said<Laterality>& laterality) {
    const BrighterBorder border = brighter_border(prepared);
    if (border.side) {
        return {*border.side,
                fmt::format("the {} border is the brighter one ({})", name_of(*border.side), border.means)};
    }
    if (laterality) {
        return {hung_side(laterality->value), fmt::format("a {} breast; the borders do not show the side ({})",
                                                          name_of(laterality->value), border.means)};
    }
    throw Refusal(fmt::format("does not show where the chest wall is ({}): give --side", border.means));
}

IMAGE_SIDE hung_side(Laterality laterality) {
    return laterality == Laterality::kLeft ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
}

}  // namespace Norvane::Host
