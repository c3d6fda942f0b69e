// SPDX-License-Identifier: Apache-2.0
/// The contour searches in their plainest form: every pixel or sample by itself, straight from the definition.
#pragma once

#include "contour/polar.h"
#include "contour_fixture.h"

#include <array>
#include <cstdint>
#include <utility>

namespace Norvane::Tests::slow {

inline bool in_padding_group(int noise) { return noise == 1 || noise == 2 || noise == 3 || noise == 7 || noise == 8; }

struct Direction {
    int tolerance;
    std::array<int, 5> h{65535, 65535, 65535, 65535, 65535};
    float radius = 0.0F;
};

/// The search of one scene; `sign` is +1 on or above the centre row.
struct Search {
    const OpenContour& m;
    const Image& grey;
    const Image& search;
    const Mask& field;
    const ContourState& s = *m.contourState;
    bool left = m.params.side == SIDE_CHEST_LEFT;
    bool group = in_padding_group(m.params.bgNoise);
    long width = grey.GetWidth(), height = grey.GetHeight(), edge = s.edgeColumn, centre = s.centreRow;
    long gate = left ? s.centreColumn : edge - s.centreColumn;
    long far = static_cast<long>(static_cast<double>(2 * width) / 3.0);

    [[nodiscard]] float limit(long x, bool raise) const {
        const int noise = m.params.bgNoise;
        float t = s.thresholdScale * static_cast<float>(s.tissueMean);
        if (noise <= 3 || noise == 9 || !(t > static_cast<float>(m.backgroundNoiseLevel)))
            t = static_cast<float>(m.backgroundNoiseLevel + 1);
        return raise && (left ? x < s.centreColumn : x > s.centreColumn) ? t * m.radiusScale : t;
    }
    [[nodiscard]] bool muscle(int sign) const { return m.params.view == VIEW_PECT && sign == 1; }
    [[nodiscard]] int at(const Image& image, long x, long y) const {
        return static_cast<int>(Tests::grey(image, static_cast<unsigned>(x), static_cast<unsigned>(y)));
    }
    /// First column of the row's first and last column of its last run.
    [[nodiscard]] std::pair<long, long> extent(long row, std::pair<long, long> none) const {
        unsigned count = 0;
        unsigned* pairs = nullptr;
        field.GetSegments(static_cast<unsigned>(row), count, pairs);
        if (count != 0) none = {pairs[0], pairs[2 * count - 1]};
        field.ClearSegments(pairs);
        return none;
    }
    [[nodiscard]] bool takes(Direction& b, long x, long y, float limit, bool stops) const {
        if (b.tolerance == 0) return false;
        const bool tissue = static_cast<float>(at(search, x, y)) > limit && !(stops && b.h[0] == 0);
        b.tolerance -= tissue ? 0 : 1;
        return tissue;
    }
    void note(Direction& b, int p, float d, float limit, bool beyond_gate, bool far_off) const {
        if (b.h[4] == 65535) d = 0.0F;
        b.h = {p, b.h[0], b.h[1], b.h[2], b.h[3]};
        if (beyond_gate && d > m.gradientThreshold && static_cast<float>(p) < limit * m.gradientScale) b.h[0] = 0;
        const double rise = static_cast<double>(m.borderFactor) * (-1.0) * static_cast<double>(m.gradientThreshold);
        if (p > 60000 && static_cast<double>(d) < rise && far_off) b.h[0] = 0;
    }

    [[nodiscard]] std::size_t bin(long dx, long dy, float r, int sign, bool fast, const AcosTable& table) const {
        constexpr double kScale = 229.18312072753906, kHalfPi = 1.5707963267948966;
        double a = static_cast<double>(polar_angle(static_cast<float>(dx), r, table, left ? 1 : -1, sign)) * kScale;
        int bin = left ? (sign * 1440 + static_cast<int>(a)) % 1440 + 360 : static_cast<int>(a) - 360;
        if (fast) {
            a = static_cast<double>(static_cast<float>(std::atan2(-static_cast<double>(dy), std::abs(dx))));
            bin = static_cast<int>((left ? a + kHalfPi : kHalfPi - a) * kScale + 0.5);
        }
        return static_cast<std::size_t>(std::clamp(bin, 0, 719));
    }

    /// Radii of the raster search before gaps are filled.
    [[nodiscard]] std::vector<float> border(bool fast) const {
        const AcosTable table(3600);
        std::vector<Direction> bins(720, Direction{m.contourMargin});
        const long min_y = field.GetMinY(), max_y = std::min<long>(field.GetMaxY(), height - 1);
        long lo = left ? edge : 0, hi = left ? width : edge;
        for (long y = min_y; y <= max_y; ++y) {
            const long row = y <= centre ? centre - (y - min_y) : y;
            const int sign = row <= centre ? 1 : -1;
            const bool raise = !group && m.changeThreshold && !muscle(sign);
            const bool stops = m.gradientThreshold != 0.0F && (!muscle(sign) || group);
            const auto [first, last] = extent(row, {0, width - 1});
            long from = edge, to = left ? std::min(width - 1, last) : first;
            if (fast) {
                const double span = static_cast<double>(last - first) * static_cast<double>(0.18F);
                const long below = static_cast<long>(static_cast<double>(lo) - span + 0.5);
                const long above = static_cast<long>(static_cast<double>(hi) + span + 0.5);
                from = left ? std::max(edge, below) : std::min(edge, above);
                to = left ? std::min(to, above) : std::max(first, below);
                std::tie(lo, hi) = left ? std::pair(to, from) : std::pair(from, to);
            }
            for (long x = from; left ? x <= to : x >= to; x += left ? 1 : -1) {
                if (x >= width) continue;
                const long dx = x - edge, dy = row - centre, squared = dx * dx + dy * dy;
                const float r = static_cast<float>(std::sqrt(static_cast<double>(squared)));
                Direction& b = bins[bin(dx, dy, r, sign, fast, table)];
                const float l = limit(x, raise);
                if (!takes(b, x, row, l, stops)) continue;
                if (fast) std::tie(lo, hi) = std::pair(std::min(lo, x), std::max(hi, x));
                if (!fast && b.radius > r) continue;
                b.radius = fast ? static_cast<float>(squared) : r;
                if (!stops) continue;
                const int p = at(grey, x, row);
                const int fall = (b.h[2] + b.h[3] + b.h[4]) - (p + b.h[0] + b.h[1]);
                note(b, p, static_cast<float>(fall) / 3.0F, l,
                     fast ? squared > gate * gate : r > static_cast<float>(gate),
                     fast ? squared > far * far : r > static_cast<float>(far));
            }
        }
        std::vector<float> radii;
        for (const Direction& b : bins)
            radii.push_back(fast ? static_cast<float>(std::sqrt(static_cast<double>(b.radius))) : b.radius);
        return radii;
    }

    /// Radii of the ray search before gaps are filled, in the layout of its result.
    [[nodiscard]] std::vector<float> rays() const {
        std::vector<float> contour(720, 0.0F);
        long longest = 0;
        for (const long corner : {field.GetMinY(), field.GetMaxY()}) {
            const long dx = (left ? field.GetMaxX() : field.GetMinX()) - edge, dy = corner - centre;
            longest = std::max(longest, std::lround(std::sqrt(static_cast<double>(dx * dx + dy * dy))));
        }
        for (int i = 0; i < 360; ++i) {
            const int sign = i < 180 ? -1 : 1;
            const double a = static_cast<double>(static_cast<float>(std::abs(180 - i)) / 114.59156F);
            const bool stops = m.gradientThreshold != 0.0F && !muscle(sign);
            Direction b{m.contourMargin};
            for (long r = 0; r < longest; ++r) {
                const long row = centre - sign * static_cast<long>(static_cast<double>(r) * std::sin(a) + 0.5);
                const long col = edge + (left ? 1 : -1) * static_cast<long>(static_cast<double>(r) * std::cos(a) + 0.5);
                if (row < field.GetMinY() || row > field.GetMaxY() || row >= height || col < 0 || col >= width)
                    continue;
                const auto [first, last] = extent(row, {field.GetMinX(), field.GetMaxX()});
                const float l = limit(col, m.changeThreshold && !muscle(sign));
                if (col < first || col > last || !takes(b, col, row, l, stops)) continue;
                b.radius = static_cast<float>(r);
                const int p = at(grey, col, row);
                const float older = static_cast<float>((b.h[2] + b.h[3] + b.h[4]) / 3.0);
                const double fall = static_cast<double>(older) - (p + b.h[0] + b.h[1]) / 3.0;
                if (stops) note(b, p, static_cast<float>(fall), l, r > gate, r > far);
            }
            contour[static_cast<std::size_t>(left ? (i < 180 ? 540 + i : i - 180) : 539 - i)] = b.radius;
        }
        return contour;
    }
};

}  // namespace Norvane::Tests::slow
