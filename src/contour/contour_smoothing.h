// SPDX-License-Identifier: Apache-2.0
/// Turns a raw radius profile into an outline: gaps and dips are bridged, ends cut or raised, and the rest averaged.
/// All sums are single precision, added in the order of the index: the outline is defined to the last bit.
#pragma once

#include <norvane/masking.h>

#include <vector>

namespace Norvane {

/// Bridges entries far below the mean; in a view without muscle the ends are flattened from the first jump on.
void fill_contour_gaps(std::vector<float>& contour, IMAGE_VIEW view);

struct Smoothing {
    int window;        // bins
    bool has_padding;  // the ends are not raised, and the outer contour lies no farther out than `outer_offset`
    int outer_offset;  // pixels
};

/// Smooths the contour. If `outer` is of the contour's size it becomes the outer contour; any other that is not empty
/// is averaged as it is. Nothing for a window below 2 or beyond the contour.
void smooth_outline(std::vector<float>& contour, std::vector<float>& outer, const Smoothing& smoothing);

/// Mean over `window` entries (at least 2 and less than there are), over fewer at the ends. `out` is of the size of
/// `in`, and may be the same vector: entries that leave the window are means then. Whether it could be done.
bool running_mean(const std::vector<float>& in, std::vector<float>& out, int window);

}  // namespace Norvane
