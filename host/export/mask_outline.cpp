// SPDX-License-Identifier: Apache-2.0
#include "export/mask_outline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace Norvane::Host {
namespace {

enum Direction : unsigned { kRight, kDown, kLeft, kUp };
constexpr std::array<int, 4> kStepX{1, 0, -1, 0};
constexpr std::array<int, 4> kStepY{0, 1, 0, -1};

/// The unit edges around the pixels of a region, with the inside on their right. For each pixel corner of the grid, the
/// map holds the directions in which edges leave it.
class EdgeMap {
public:
    EdgeMap(const Region& region, unsigned width, unsigned height)
        : columns(width + 1), leaving(std::size_t{columns} * (height + 1)) {
        for (const RowRuns& row : region.rows()) {
            if (row.row >= height) break;
            const unsigned y = row.row;
            const std::span<const ColumnRun> above = y > 0 ? region.row(y - 1) : std::span<const ColumnRun>();
            const std::span<const ColumnRun> below = y + 1 < height ? region.row(y + 1) : std::span<const ColumnRun>();
            for (const ColumnRun& run : row.runs) {
                if (run.first >= width) break;
                const unsigned end = std::min(run.last, width - 1) + 1;
                add(run.first, y + 1, kUp);
                add(end, y, kDown);
                starts.push_back(corner_at(run.first, y));
                starts.push_back(corner_at(end, y));
                for_uncovered(run.first, end, above, [&](unsigned x) { add(x, y, kRight); });
                for_uncovered(run.first, end, below, [&](unsigned x) { add(x + 1, y + 1, kLeft); });
            }
        }
    }

    /// The corners at which the first edges of all lines begin, in the order of the rows. In the row of its uppermost
    /// edges, a line begins at one end of a run: at the first pixel of an island, and after the last pixel before a
    /// hole.
    [[nodiscard]] const std::vector<std::size_t>& line_starts() const { return starts; }
    [[nodiscard]] bool has_edge(std::size_t corner) const { return leaving[corner] != 0; }

    /// Follows the closed line from `start` and removes its edges from the map.
    Outline take_line(std::size_t start) {
        Outline line;
        int x = static_cast<int>(start % columns), y = static_cast<int>(start / columns);
        std::size_t corner = start;
        unsigned direction = kRight;
        do {
            direction = take_edge(corner, direction);
            line.push_back({static_cast<double>(x), static_cast<double>(y)});
            x += kStepX[direction];
            y += kStepY[direction];
            corner = corner_at(static_cast<unsigned>(x), static_cast<unsigned>(y));
        } while (corner != start);
        return line;
    }

private:
    [[nodiscard]] std::size_t corner_at(unsigned x, unsigned y) const { return std::size_t{y} * columns + x; }
    void add(unsigned x, unsigned y, unsigned direction) {
        leaving[corner_at(x, y)] |= static_cast<std::uint8_t>(1U << direction);
    }
    // Calls `visit` for each column first .. end - 1 that lies in none of the runs of a neighbouring row.
    template <class Visit>
    static void for_uncovered(unsigned first, unsigned end, std::span<const ColumnRun> runs, const Visit& visit) {
        for (const ColumnRun& run : runs) {
            for (; first < std::min(run.first, end); ++first) visit(first);
            first = std::max(first, std::min(run.last, end - 1) + 1);
        }
        for (; first < end; ++first) visit(first);
    }
    // If two lines touch in a corner, turning right first keeps them apart.
    unsigned take_edge(std::size_t corner, unsigned arrival) {
        for (const unsigned turn : {1U, 0U, 3U, 2U}) {
            const unsigned direction = (arrival + turn) % 4;
            const unsigned bit = 1U << direction;
            if ((leaving[corner] & bit) == 0) continue;
            leaving[corner] &= static_cast<std::uint8_t>(~bit);
            return direction;
        }
        return arrival;  // never reached, because as many edges leave a corner as arrive there
    }

    unsigned columns;
    std::vector<std::uint8_t> leaving;
    std::vector<std::size_t> starts;
};

// A running mean over five corners makes a straight line of the staircase of a slanted one.
Outline smooth(const Outline& line) {
    constexpr std::size_t kHalf = 2;
    constexpr double kCorners = 2 * kHalf + 1;
    const std::size_t n = line.size();
    if (n <= 2 * kHalf) return line;
    Outline shares;  // with the last corners once more at the beginning, and the first ones at the end
    shares.reserve(n + 2 * kHalf);
    for (std::size_t k = n - kHalf; k < 2 * n + kHalf; ++k) {
        shares.push_back({line[k % n].x / kCorners, line[k % n].y / kCorners});
    }
    Outline smoothed(n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t k = i; k <= i + 2 * kHalf; ++k) {
            smoothed[i].x += shares[k].x;
            smoothed[i].y += shares[k].y;
        }
    }
    return smoothed;
}

// From the nearest point of the segment to `p`.
OutlinePoint away_from_segment(const OutlinePoint& p, const OutlinePoint& a, const OutlinePoint& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length_squared = dx * dx + dy * dy;
    const double along = length_squared > 0.0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / length_squared : 0.0;
    const double t = std::clamp(along, 0.0, 1.0);
    return {p.x - a.x - t * dx, p.y - a.y - t * dy};
}

}  // namespace

std::vector<Outline> outlines_of(const Region& region, unsigned width, unsigned height) {
    EdgeMap edges(region, width, height);
    std::vector<Outline> lines;
    for (const std::size_t corner : edges.line_starts()) {
        while (edges.has_edge(corner)) lines.push_back(smooth(edges.take_line(corner)));
    }
    return lines;
}

Outline simplified(const Outline& line, double tolerance) {
    constexpr double kClearlyLess = 1.0 - 1e-9;  // more than the rounding of squares
    Outline closed = line;
    closed.push_back(line.front());
    std::vector<bool> is_kept(closed.size());
    std::vector<std::pair<std::size_t, std::size_t>> spans{{0, line.size()}};
    while (!spans.empty()) {
        const auto [first, last] = spans.back();
        spans.pop_back();
        is_kept[first] = true;
        std::size_t farthest = first;
        double distance = tolerance;
        for (std::size_t i = first + 1; i < last; ++i) {
            const OutlinePoint away = away_from_segment(closed[i], closed[first], closed[last]);
            // The exact distance takes longest, and most points are clearly nearer.
            if (away.x * away.x + away.y * away.y < kClearlyLess * distance * distance) continue;
            const double d = std::hypot(away.x, away.y);
            if (d <= distance) continue;
            distance = d;
            farthest = i;
        }
        if (farthest == first) continue;
        spans.emplace_back(first, farthest);
        spans.emplace_back(farthest, last);
    }
    Outline corners;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (is_kept[i]) corners.push_back(line[i]);
    }
    return corners;
}

}  // namespace Norvane::Host
