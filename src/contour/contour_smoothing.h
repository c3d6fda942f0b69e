// SPDX-License-Identifier: Apache-2.0
/// Turns a raw radius profile into an outline: bridges gaps and dips, cuts or raises the ends, and averages the rest.
/// All sums are in single precision and in the order of the index, because the outline is defined to the last bit.
#pragma once

#include <norvane/masking.h>

#include <vector>

namespace Norvane {

/// Bridges entries far below the mean. In a view without muscle, also flattens the ends from the first jump on.
void fill_contour_gaps(std::vector<float>& contour, IMAGE_VIEW view);

struct Smoothing {
    int window;        // bins
    bool has_padding;  // the ends are not raised, and the outer contour lies no farther out than `outer_offset`
    int outer_offset;  // pixels
};

/// Smooths the contour. If `outer` has the size of the contour, it becomes the outer contour. If it has another size
/// and is not empty, it is only averaged. Does nothing if the window is below 2 or larger than the contour.
void smooth_outline(std::vector<float>& contour, std::vector<float>& outer, const Smoothing& smoothing);

/// Mean over `window` entries, and over fewer at the ends. `window` must be at least 2 and less than the number of
/// entries; otherwise returns false. `out` has the size of `in`. It may be the same vector; then entries that leave the
/// window are means already.
bool running_mean(const std::vector<float>& in, std::vector<float>& out, int window);

}  // namespace Norvane
