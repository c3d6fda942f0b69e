// SPDX-License-Identifier: Apache-2.0
#include "contour/boundary_tracing.h"

#include "model/mask_reader.h"
#include "model/pixels.h"
#include "model/scratch.h"
#include "model/working_image.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace Norvane {
namespace {

constexpr std::uint16_t kPainted = 65535;

struct Point {
    int x;
    int y;
};

bool is_in_image(const Image& image, Point p) { return whole_of(image).has(p.x, p.y); }

int grey_at(const Image& image, Point p) { return grey_row(image, p.y)[p.x]; }

/// Directions of the walk, counter-clockwise; arithmetic on them is modulo 4.
constexpr unsigned kRight = 0;
constexpr unsigned kUp = 1;
constexpr unsigned kLeft = 2;
constexpr unsigned kDown = 3;
constexpr std::array<Point, 4> kSteps{{{1, 0}, {0, -1}, {-1, 0}, {0, 1}}};

/// How a walk turns for a side of the wall. It goes along the upper border of the breast away from the wall and returns
/// below.
struct WalkRules {
    unsigned start;             // first direction
    unsigned turn_before_step;  // towards the border that is followed
    unsigned turn_when_blocked;
    unsigned leave_box_edge;  // direction after running up along the edge of the box
};

constexpr WalkRules kWallOnTheLeft{kRight, 1, 3, kLeft};
constexpr WalkRules kWallOnTheRight{kLeft, 3, 1, kRight};

/// A walk along the border of the region that appends to a list of points.
class BorderWalk {
public:
    BorderWalk(const TracedRegion& region, std::vector<int>& points)
        : region_(region),
          rules_(region.side == SIDE_CHEST_LEFT ? kWallOnTheLeft : kWallOnTheRight),
          points_(points),
          at_{points[points.size() - 2], points[points.size() - 1]},
          direction_(rules_.start) {}

    void run() {
        do step();
        while (!is_done());
    }

private:
    [[nodiscard]] bool is_in_region(Point p) const {
        return region_.box.has(p.x, p.y) && is_in_image(region_.image, p) &&
               !region_.padding.has(grey_at(region_.image, p));
    }

    void append(Point p) {
        points_.push_back(p.x);
        points_.push_back(p.y);
    }

    [[nodiscard]] Point neighbour() const {
        // A host's list may hold any coordinates. Unsigned sums may wrap; signed ones must not.
        const Point d = kSteps[direction_];
        return {static_cast<int>(static_cast<unsigned>(at_.x) + static_cast<unsigned>(d.x)),
                static_cast<int>(static_cast<unsigned>(at_.y) + static_cast<unsigned>(d.y))};
    }

    void turn(unsigned quarters) { direction_ = (direction_ + quarters) % 4; }

    void step() {
        turn(rules_.turn_before_step);
        const Point below{at_.x, static_cast<int>(static_cast<unsigned>(at_.y) + 1U)};
        for (int candidates = 0; candidates < 4; ++candidates) {
            const Point next = neighbour();
            if (is_in_region(next)) {
                move_to(next, below);
                return;
            }
            turn(rules_.turn_when_blocked);
        }
        // It is a single pixel: continue below it.
        append(below);
        at_ = below;
        direction_ = kDown;
    }

    void move_to(Point next, Point below) {
        if (direction_ == kUp && (next.x == region_.box.columns.last || next.x == region_.box.columns.first)) {
            // Going up along the edge of the box would lead back, so turn round one row below instead.
            at_ = {next.x, below.y};
            direction_ = rules_.leave_box_edge;
        } else {
            at_ = next;
        }
        append(at_);
    }

    [[nodiscard]] bool is_done() {
        constexpr std::size_t kFewestValues = 9;
        constexpr std::size_t kMostPoints = 10000;
        if (points_.size() < kFewestValues) return false;
        if (points_.back() >= region_.box.rows.last) {
            close_at_bottom();
            return true;
        }
        return std::equal(points_.end() - 4, points_.end(), points_.begin()) || points_.size() / 2 > kMostPoints;
    }

    /// Adds the last row of the box, from the walk's column towards the wall. Never longer than the width of the image,
    /// because a box from outside may be anything.
    void close_at_bottom() {
        const std::int64_t longest = region_.image.GetWidth();
        const auto& [columns, rows] = region_.box;
        if (region_.side == SIDE_CHEST_RIGHT) {
            const std::int64_t last = std::min<std::int64_t>(columns.last, at_.x + longest);
            for (std::int64_t x = at_.x; x <= last; ++x) append({static_cast<int>(x), rows.last});
        } else {
            const std::int64_t last = std::max<std::int64_t>(columns.first, at_.x - longest);
            for (std::int64_t x = at_.x; x >= last; --x) append({static_cast<int>(x), rows.last});
        }
    }

    const TracedRegion& region_;
    WalkRules rules_;
    std::vector<int>& points_;
    Point at_;
    unsigned direction_;
};

}  // namespace

void trace_boundary(const TracedRegion& region, std::vector<int>& points) { BorderWalk(region, points).run(); }

void paint(const Mask& mask, Image& image) {
    if (MaskReader::is_empty(mask)) return;
    MaskReader reader(mask);
    const std::int64_t last = std::min<std::int64_t>(mask.GetMaxY(), std::int64_t{image.GetHeight()} - 1);
    for (std::int64_t y = mask.GetMinY(); y <= last; ++y) {
        const auto row = grey_row_to_write(image, y);
        for (const Run& run : reader.row(y))
            for (std::size_t x = run.first; x <= run.last && x < row.size(); ++x) row[x] = kPainted;
    }
}

std::vector<int> start_of_boundary(const Image& painted, const Rectangle<int>& box, IMAGE_SIDE side) {
    const int column = wall_end(box.columns, outward_from(side));
    for (int y = box.rows.first; y <= box.rows.last; ++y)
        if (is_in_image(painted, {column, y}) && grey_at(painted, {column, y}) != 0) return {column, y};
    return {column, box.rows.first};
}

std::vector<int> top_edge(const TracedRegion& region) {
    const int outward = outward_from(region.side), row = region.box.rows.first;
    const int wall = wall_end(region.box.columns, outward), far = far_end(region.box.columns, outward);
    const auto is_padding = [&](int x) {
        return is_in_image(region.image, {x, row}) && region.padding.has(grey_at(region.image, {x, row}));
    };

    int x = wall;
    while ((far - x) * outward >= 0 && !is_padding(x)) x += outward;
    const bool found = (far - x) * outward >= 0;
    const int before = x - outward;
    const bool is_outside = before == -1 || before == width_of(region.image);
    const int end = found && !is_outside ? before : wall;
    std::vector<int> points;
    for (x = wall; (end - x) * outward >= 0; x += outward) {
        points.push_back(x);
        points.push_back(row);
    }
    return points;
}

}  // namespace Norvane
