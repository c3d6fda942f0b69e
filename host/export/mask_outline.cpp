// SPDX-License-Identifier: Apache-2.0
#include "export/mask_outline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Norvane::Host {
namespace {

enum Direction : unsigned { kRight, kDown, kLeft, kUp };
constexpr std::array<int, 4> kStepX{1, 0, -1, 0};
constexpr std::array<int, 4> kStepY{0, 1, 0, -1};

/// The unit edges around the pixels, with the inside on their right. For each pixel corner, the map holds the
/// directions in which edges leave it.
class EdgeMap {
public:
    explicit EdgeMap(const MaskBitmap& bitmap)
        : columns(bitmap.width + 1), leaving(std::size_t{columns} * (bitmap.height + 1)) {
        const auto inside = [&bitmap](unsigned x, unsigned y) {  // -1 wraps to a large number, which is outside too
            return x < bitmap.width && y < bitmap.height && bitmap.at(x, y);
        };
        for (unsigned y = 0; y < bitmap.height; ++y) {
            for (unsigned x = 0; x < bitmap.width; ++x) {
                if (!bitmap.at(x, y)) continue;
                if (!inside(x, y - 1)) add(x, y, kRight);
                if (!inside(x + 1, y)) add(x + 1, y, kDown);
                if (!inside(x, y + 1)) add(x + 1, y + 1, kLeft);
                if (!inside(x - 1, y)) add(x, y + 1, kUp);
            }
        }
    }

    [[nodiscard]] std::size_t size() const { return leaving.size(); }
    [[nodiscard]] bool has_edge(std::size_t corner) const { return leaving[corner] != 0; }

    /// Follows the closed line from `corner` and removes its edges from the map.
    Outline take_line(std::size_t corner) {
        Outline line;
        const std::size_t start = corner;
        unsigned direction = kRight;
        do {
            direction = take_edge(corner, direction);
            const unsigned x = static_cast<unsigned>(corner % columns);
            const unsigned y = static_cast<unsigned>(corner / columns);
            line.push_back({static_cast<double>(x), static_cast<double>(y)});
            corner = static_cast<std::size_t>(static_cast<int>(y) + kStepY[direction]) * columns +
                     static_cast<std::size_t>(static_cast<int>(x) + kStepX[direction]);
        } while (corner != start);
        return line;
    }

private:
    void add(unsigned x, unsigned y, unsigned direction) {
        leaving[std::size_t{y} * columns + x] |= static_cast<std::uint8_t>(1U << direction);
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
};

// A running mean over five corners makes a straight line of the staircase of a slanted one.
Outline smooth(const Outline& line) {
    constexpr std::size_t kHalf = 2;
    const std::size_t n = line.size();
    if (n <= 2 * kHalf) return line;
    Outline smoothed(n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t k = i + n - kHalf; k <= i + n + kHalf; ++k) {
            smoothed[i].x += line[k % n].x / (2 * kHalf + 1);
            smoothed[i].y += line[k % n].y / (2 * kHalf + 1);
        }
    }
    return smoothed;
}

double distance_to_segment(const OutlinePoint& p, const OutlinePoint& a, const OutlinePoint& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length_squared = dx * dx + dy * dy;
    const double along = length_squared > 0.0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / length_squared : 0.0;
    const double t = std::clamp(along, 0.0, 1.0);
    return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

}  // namespace

std::vector<Outline> outlines_of(const MaskBitmap& bitmap) {
    EdgeMap edges(bitmap);
    std::vector<Outline> lines;
    for (std::size_t corner = 0; corner < edges.size(); ++corner) {
        while (edges.has_edge(corner)) lines.push_back(smooth(edges.take_line(corner)));
    }
    return lines;
}

Outline simplified(const Outline& line, double tolerance) {
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
            const double d = distance_to_segment(closed[i], closed[first], closed[last]);
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
