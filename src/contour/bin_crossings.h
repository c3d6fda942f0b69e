// SPDX-License-Identifier: Apache-2.0
/// The bins of the fast contour search, and where a row of pixels crosses from one to the next.
#pragma once

#include <norvane/masking.h>

#include "model/numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace Norvane {

constexpr int kLastBin = Masking::c_num_angles - 1;
constexpr int kHorizontalBin = 360;
constexpr double kBinsPerRadian = 229.18312072753906;  // 720 / pi, in single precision

/// Distances from the wall in columns, both ends in.
struct Depths {
    int first;
    int last;
};

/// From 0 straight down to 719 straight up where the breast lies to the right of the wall (`outward` +1), from straight
/// up to straight down where it lies to the left (-1).
class ArctangentBins {
public:
    explicit ArctangentBins(int breast_side) : outward(breast_side) {
        constexpr double kDoubt = 1e-3 / kBinsPerRadian;  // the rounding of an angle to single precision errs by 1e-7
        for (int bin = 1; bin <= kLastBin; ++bin) {
            const double elevation = (bin - 0.5) / kBinsPerRadian - kHalfPi;
            const double run = std::abs(std::tan(kHalfPi - elevation));
            const double doubt = kDoubt * (1.0 + run * run);
            sure_before[static_cast<std::size_t>(bin)] = run - doubt;
            sure_behind[static_cast<std::size_t>(bin)] = run + doubt;
        }
    }

    /// The bin of one pixel, `dy` rows below the origin.
    [[nodiscard]] int bin_at(int depth, int dy) const {
        const float a = static_cast<float>(std::atan2(static_cast<double>(-dy), static_cast<double>(depth)));
        const double from_first_bin = outward > 0 ? static_cast<double>(a) + kHalfPi : kHalfPi - static_cast<double>(a);
        return std::clamp(truncate_to<int>(from_first_bin * kBinsPerRadian + 0.5), 0, kLastBin);
    }

    /// Calls visit(bin, depths) for neighbouring pixels of one bin, going away from the wall. Bins change where the row
    /// crosses the directions between them; only a pixel close to a crossing is asked for its own angle.
    template <class Visit>
    void visit_runs(Depths row, int dy, Visit visit) const {
        const double rise = std::abs(static_cast<double>(dy));
        int depth = row.first;
        for (int bin = bin_at(depth, dy); depth <= row.last; bin += bin < kHorizontalBin ? 1 : -1) {
            int sure_end = row.last + 1, asked_end = row.last + 1;
            if (bin != kHorizontalBin) {  // which no row leaves
                const auto crossing = static_cast<std::size_t>(bin < kHorizontalBin ? bin + 1 : bin);
                const double end = sure_end;
                sure_end = static_cast<int>(std::ceil(std::min(rise * sure_before[crossing], end)));
                asked_end = static_cast<int>(std::ceil(std::min(rise * sure_behind[crossing], end)));
            }
            if (depth < sure_end) {
                visit(bin, Depths{depth, sure_end - 1});
                depth = sure_end;
            }
            for (; depth < asked_end; ++depth) visit(bin_at(depth, dy), Depths{depth, depth});
        }
    }

private:
    static constexpr double kHalfPi = 1.5707963267948966;

    int outward;
    // Of the crossing below each bin: columns from the wall per row from the origin, less and plus the doubt about it.
    std::array<double, kLastBin + 1> sure_before{};
    std::array<double, kLastBin + 1> sure_behind{};
};

}  // namespace Norvane
