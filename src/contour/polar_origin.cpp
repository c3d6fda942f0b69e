// SPDX-License-Identifier: Apache-2.0
#include "contour/polar_origin.h"

#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/numbers.h"

#include <cstdint>

namespace Norvane {
namespace {

std::uint16_t low_16_bits(unsigned v) { return static_cast<std::uint16_t>(v); }

/// The depth of the near-wall zone: a tenth of the field's extent plus a column.
std::uint16_t wall_margin(unsigned extent) { return low_16_bits(truncate_to<unsigned>(extent * double{0.1F} + 1.0)); }

}  // namespace

ContourState with_polar_origin(ContourState state, const Image& image, const Mask* frame, IMAGE_SIDE side) {
    state.centreRow = low_16_bits(truncate_to<unsigned>(image.GetHeight() * 0.5));

    Interval<unsigned> field{0, image.GetWidth() - 1};
    unsigned beyond_last = image.GetWidth();  // with the wall on the right, the margin is counted from here
    if (frame != nullptr) {
        MaskReader reader(*frame);
        if (const auto runs = reader.row(state.centreRow); !runs.empty()) {
            field = {runs.front().first, runs.back().last};
            beyond_last = field.last;  // the last column of the field, not the one after it
        }
    }
    const std::uint16_t margin = wall_margin(field.last - field.first);
    if (side == SIDE_CHEST_RIGHT) {
        state.edgeColumn = low_16_bits(field.last);
        state.centreColumn = low_16_bits(beyond_last - margin);
    } else if (side == SIDE_CHEST_LEFT) {
        state.edgeColumn = low_16_bits(field.first);
        state.centreColumn = low_16_bits(field.first + margin);
    }
    return state;
}

}  // namespace Norvane
