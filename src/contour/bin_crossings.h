// SPDX-License-Identifier: Apache-2.0
/// The angle bins of the fast contour search, and where a row of pixels crosses from one to the next.
#pragma once

#include <norvane/masking.h>

#include "model/geometry.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace Norvane {

constexpr int kLastBin = Masking::c_num_angles - 1;
constexpr int kHorizontalBin = 360;
constexpr double kBinsPerRadian = 229.18312072753906;  // 720 / pi, in single precision

using Depths = Interval<int>;  // distances from the wall in columns
using Bins = Interval<int>;

/// If the breast lies to the right of the wall (`outward` +1), bin 0 is straight down and bin 719 straight up. If it
/// lies to the left (-1), it is the other way round.
class ArctangentBins {
public:
    explicit ArctangentBins(int breast_side) : outward_(breast_side) {
        constexpr double kDoubt = 1e-3 / kBinsPerRadian;  // the rounding of an angle to single precision errs by 1e-7
        const Row<double> before{sure_before_}, behind{sure_behind_};
        for (int bin = 1; bin <= kLastBin; ++bin) {
            const double elevation = (bin - 0.5) / kBinsPerRadian - kHalfPi;
            const double run = std::abs(std::tan(kHalfPi - elevation));
            const double doubt = kDoubt * (1.0 + run * run);
            before[bin] = run - doubt;
            behind[bin] = run + doubt;
        }
    }

    /// The bin of one pixel, `dy` rows below the origin.
    [[nodiscard]] int bin_at(int depth, int dy) const {
        const float a = static_cast<float>(std::atan2(static_cast<double>(-dy), static_cast<double>(depth)));
        const double from_first_bin = outward_ > 0 ? double{a} + kHalfPi : kHalfPi - double{a};
        return std::clamp(truncate_to<int>(from_first_bin * kBinsPerRadian + 0.5), 0, kLastBin);
    }

    /// Calls visit(bin, depths) for neighbouring pixels of one bin, going away from the wall. The bin changes where the
    /// row crosses the direction between two bins, so the angle is computed only for pixels close to a crossing.
    template <class Visit>
    void visit_runs(Depths row, int dy, Visit visit) const {
        const double rise = std::abs(dy);
        int bin = bin_at(row.first, dy);
        const int step = bin < kHorizontalBin ? 1 : -1;
        const Row<const double> before{sure_before_}, behind{sure_behind_};
        const int crossing = step > 0 ? 1 : 0;  // the crossing of a bin that the row reaches: below or above it
        for (int depth = row.first; depth <= row.last;) {
            while (bin != kHorizontalBin && depth > rise * behind[bin + crossing]) bin += step;
            if (bin == kHorizontalBin) return visit(bin, Depths{depth, row.last});  // no row leaves this bin
            const double sure_end = rise * before[bin + crossing];
            if (depth < sure_end) {
                const int end = static_cast<int>(std::min(sure_end, row.last + 1.0));
                const int last = end < sure_end ? std::min(end, row.last) : end - 1;
                visit(bin, Depths{depth, last});
                depth = last + 1;
            } else {
                visit(bin_at(depth, dy), Depths{depth, depth});
                ++depth;
            }
        }
    }

private:
    static constexpr double kHalfPi = 1.5707963267948966;

    int outward_;
    // Lower boundary of each bin in columns per row, minus and plus its rounding error.
    std::array<double, kLastBin + 1> sure_before_{};
    std::array<double, kLastBin + 1> sure_behind_{};
};

}  // namespace Norvane
