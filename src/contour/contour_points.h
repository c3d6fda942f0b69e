// SPDX-License-Identifier: Apache-2.0
/// The host's outline of 720 points, as interleaved x and y.
#pragma once

#include <norvane/masking.h>

#include "model/numbers.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Norvane {

/// Whether the host passed a vector that takes 720 points.
[[nodiscard]] inline bool takes_contour_points(const std::vector<int>* contour) {
    return contour != nullptr && contour->size() == 2 * static_cast<std::size_t>(Masking::c_num_angles);
}

/// Spreads 720 points evenly over a traced boundary of at least one point.
inline void resample_boundary(const std::vector<int>& traced, std::vector<int>& contour) {
    const std::size_t count = traced.size() / 2;
    const double step = static_cast<double>(count) / Masking::c_num_angles;
    for (std::size_t k = 0; k < static_cast<std::size_t>(Masking::c_num_angles); ++k) {
        const std::size_t from = std::min<std::size_t>(truncate_to<unsigned>(static_cast<double>(k) * step), count - 1);
        contour[2 * k] = traced[2 * from];
        contour[2 * k + 1] = traced[2 * from + 1];
    }
}

}  // namespace Norvane
