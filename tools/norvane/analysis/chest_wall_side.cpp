// SPDX-License-Identifier: Apache-2.0
#include "analysis/chest_wall_side.h"

#include "analysis/image_rows.h"
#include "reading/refusal.h"

#include <algorithm>
#include <cmath>

namespace Norvane::Host {
namespace {

// A quarter of the width: a thin strip at the very border can be frame, scanner border or padding.
constexpr unsigned kBorderFraction = 4;
// Means that differ by less than this share of the larger one, or by less than this many grey levels, tell nothing.
constexpr double kLeastRelativeDifference = 0.1;
constexpr double kLeastDifference = 300.0;

// Mean grey level of columns x0 .. x1 - 1 over the middle rows, without frame pixels, which are bright everywhere.
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

SideChoice choose_side(const Image& prepared, std::optional<Laterality> laterality) {
    const unsigned width = prepared.GetWidth();
    const unsigned depth = std::max(width / kBorderFraction, 1U);
    const double left = mean_without_frame(prepared, 0, depth);
    const double right = mean_without_frame(prepared, width - depth, width);
    const std::string means = "mean grey level " + std::to_string(std::lround(left)) + " on the left, " +
                              std::to_string(std::lround(right)) + " on the right";
    if (std::abs(left - right) >= std::max(kLeastDifference, kLeastRelativeDifference * std::max(left, right))) {
        const IMAGE_SIDE side = left > right ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        return {side, std::string("the ") + name_of(side) + " border is the brighter one (" + means + ")"};
    }
    if (laterality) {
        const bool is_left = *laterality == Laterality::kLeft;
        const std::string breast = is_left ? "a left breast" : "a right breast";
        return {is_left ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT, breast + ", and the borders do not tell (" + means + ")"};
    }
    throw Refusal("does not show where the chest wall is (" + means + "): give --side");
}

const char* name_of(IMAGE_SIDE side) { return side == SIDE_CHEST_LEFT ? "left" : "right"; }

}  // namespace Norvane::Host
