// SPDX-License-Identifier: Apache-2.0
/// Follows the border of a region pixel by pixel: the outline of a mask as points, and the breast of images whose
/// background is a range of padding values.
#include <norvane/masking.h>

#include "contour/contour_points.h"
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

/// Bounds as the frame maskers give them, all inclusive.
struct Box {
    int x0, x1, y0, y1;

    explicit Box(const int* b) : x0(b[0]), x1(b[1]), y0(b[2]), y1(b[3]) {}
    [[nodiscard]] bool was_found() const { return x0 >= 0 && x1 >= 0 && y0 >= 0 && y1 >= 0; }
    [[nodiscard]] bool has(Point p) const { return p.x >= x0 && p.x <= x1 && p.y >= y0 && p.y <= y1; }
};

/// Grey levels of pixel padding, both ends in.
struct PaddingRange {
    int low, high;

    explicit PaddingRange(const Masking::Params& params)
        : low(std::min(params.noiseLevel, params.pixelPaddingValueRangeLimit)),
          high(std::max(params.noiseLevel, params.pixelPaddingValueRangeLimit)) {}
    [[nodiscard]] bool has(int grey) const { return grey >= low && grey <= high; }
};

bool is_in_image(const Image& image, Point p) {
    return p.x >= 0 && p.y >= 0 && static_cast<unsigned>(p.x) < image.GetWidth() &&
           static_cast<unsigned>(p.y) < image.GetHeight();
}

int grey_at(const Image& image, Point p) {
    return grey_row(image, static_cast<unsigned>(p.y))[static_cast<std::size_t>(p.x)];
}

/// Directions of the walk, counter-clockwise; arithmetic on them is modulo 4.
constexpr unsigned kRight = 0;
constexpr unsigned kUp = 1;
constexpr unsigned kLeft = 2;
constexpr unsigned kDown = 3;
constexpr std::array<Point, 4> kSteps{{{1, 0}, {0, -1}, {-1, 0}, {0, 1}}};

/// How a walk turns, by the side of the wall: along the breast's upper border away from the wall, and back below.
struct WalkRules {
    unsigned start;             // first direction
    unsigned turn_before_step;  // towards the border that is followed
    unsigned turn_when_blocked;
    unsigned leave_box_edge;  // direction after running up along the edge of the box
};

constexpr WalkRules kWallOnTheLeft{kRight, 1, 3, kLeft};
constexpr WalkRules kWallOnTheRight{kLeft, 3, 1, kRight};

/// A walk along the border of the region, appending to a list of points.
class BorderWalk {
public:
    BorderWalk(const Image& traced, const Box& bounds, PaddingRange range, IMAGE_SIDE image_side,
               std::vector<int>& list)
        : image(traced),
          box(bounds),
          padding(range),
          side(image_side),
          rules(image_side == SIDE_CHEST_LEFT ? kWallOnTheLeft : kWallOnTheRight),
          points(list),
          at{list[list.size() - 2], list[list.size() - 1]},
          direction(rules.start) {}

    void run() {
        do step();
        while (!is_done());
    }

private:
    [[nodiscard]] bool is_in_region(Point p) const {
        return box.has(p) && is_in_image(image, p) && !padding.has(grey_at(image, p));
    }

    void append(Point p) {
        points.push_back(p.x);
        points.push_back(p.y);
    }

    [[nodiscard]] Point neighbour() const {
        // Coordinates may be anything that a host's list holds; unsigned sums wrap where signed ones must not.
        const Point d = kSteps[direction];
        return {static_cast<int>(static_cast<unsigned>(at.x) + static_cast<unsigned>(d.x)),
                static_cast<int>(static_cast<unsigned>(at.y) + static_cast<unsigned>(d.y))};
    }

    void turn(unsigned quarters) { direction = (direction + quarters) % 4; }

    void step() {
        turn(rules.turn_before_step);
        const Point below{at.x, static_cast<int>(static_cast<unsigned>(at.y) + 1U)};
        for (int candidates = 0; candidates < 4; ++candidates) {
            const Point next = neighbour();
            if (is_in_region(next)) {
                move_to(next, below);
                return;
            }
            turn(rules.turn_when_blocked);
        }
        // A pixel of its own: go on below it.
        append(below);
        at = below;
        direction = kDown;
    }

    void move_to(Point next, Point below) {
        if (direction == kUp && (next.x == box.x1 || next.x == box.x0)) {
            // Running up along the box is the way back; turn round one row below instead.
            at = {next.x, below.y};
            direction = rules.leave_box_edge;
        } else {
            at = next;
        }
        append(at);
    }

    [[nodiscard]] bool is_done() {
        constexpr std::size_t kFewestValues = 9;
        constexpr std::size_t kMostPoints = 10000;
        if (points.size() < kFewestValues) return false;
        if (points.back() >= box.y1) {
            close_at_bottom();
            return true;
        }
        return std::equal(points.end() - 4, points.end(), points.begin()) || points.size() / 2 > kMostPoints;
    }

    /// The last row of the box, from the walk's column towards the wall. Never longer than the image is wide: a box
    /// from outside may be anything.
    void close_at_bottom() {
        const auto longest = static_cast<std::int64_t>(image.GetWidth());
        if (side == SIDE_CHEST_RIGHT) {
            const std::int64_t last = std::min<std::int64_t>(box.x1, at.x + longest);
            for (std::int64_t x = at.x; x <= last; ++x) append({static_cast<int>(x), box.y1});
        } else {
            const std::int64_t last = std::max<std::int64_t>(box.x0, at.x - longest);
            for (std::int64_t x = at.x; x >= last; --x) append({static_cast<int>(x), box.y1});
        }
    }

    const Image& image;
    Box box;
    PaddingRange padding;
    IMAGE_SIDE side;
    WalkRules rules;
    std::vector<int>& points;
    Point at;
    unsigned direction;
};

/// Sets the pixels of the mask, as far as the image has them.
void paint(const Mask& mask, Image& image) {
    if (MaskReader::is_empty(mask)) return;
    MaskReader reader(mask);
    const std::int64_t last = std::min<std::int64_t>(mask.GetMaxY(), static_cast<std::int64_t>(image.GetHeight()) - 1);
    for (std::int64_t y = mask.GetMinY(); y <= last; ++y) {
        const auto row = grey_row_to_write(image, static_cast<unsigned>(y));
        for (const Run& run : reader.row(static_cast<unsigned>(y)))
            for (std::size_t x = run.first; x <= run.last && x < row.size(); ++x) row[x] = kPainted;
    }
}

/// Where the boundary of a painted mask is taken up: the topmost painted pixel on the wall's edge of the box.
Point start_of_boundary(const Image& painted, const Box& box, int column) {
    for (int y = box.y0; y <= box.y1; ++y)
        if (is_in_image(painted, {column, y}) && grey_at(painted, {column, y}) != 0) return {column, y};
    return {column, box.y0};
}

/// The points of the top edge of the field, from the wall up to the padding. On the left none when the wall's corner is
/// padding, on the right none when it is and the image goes on behind it.
std::vector<int> top_edge(const Image& image, const Box& box, PaddingRange padding, IMAGE_SIDE side) {
    std::vector<int> points;
    if (side != SIDE_CHEST_LEFT && side != SIDE_CHEST_RIGHT) return points;
    const int outward = side == SIDE_CHEST_LEFT ? 1 : -1;
    const int wall = outward > 0 ? box.x0 : box.x1;
    const int far = outward > 0 ? box.x1 : box.x0;
    const auto is_padding = [&](int x) {
        return is_in_image(image, {x, box.y0}) && padding.has(grey_at(image, {x, box.y0}));
    };

    int x = wall;
    while ((far - x) * outward >= 0 && !is_padding(x)) x += outward;
    const bool found = (far - x) * outward >= 0;
    const int before = x - outward;
    const bool is_outside = before == -1 || before == static_cast<int>(image.GetWidth());
    const int end = found && !is_outside ? before : wall;
    for (x = wall; (end - x) * outward >= 0; x += outward) {
        points.push_back(x);
        points.push_back(box.y0);
    }
    return points;
}

}  // namespace

void Masking::boundary_tracing(Image* image, int* box, std::vector<int>& points) {
    if (!is_usable(image) || box == nullptr || points.size() < 2) return;
    if (params.side != SIDE_CHEST_LEFT && params.side != SIDE_CHEST_RIGHT) return;
    BorderWalk(*image, Box(box), PaddingRange(params), params.side, points).run();
}

bool Masking::convert_mask_to_boundary(Image* image, Mask* mask, std::vector<int>& points) {
    if (!is_usable(image) || mask == nullptr) return false;
    GarbageList scratch;
    auto* painted = make_scratch<Image>(scratch, image, true);
    paint(*mask, *painted);
    params.noiseLevel = 0;  // only black is padding
    params.pixelPaddingValueRangeLimit = 0;

    int bounds[4] = {-1, -1, -1, -1};
    framemasking_for_binary_image(painted, bounds);
    const Box box(bounds);
    if (!box.was_found()) return false;
    if (params.side == SIDE_CHEST_LEFT || params.side == SIDE_CHEST_RIGHT) {
        const Point start = start_of_boundary(*painted, box, params.side == SIDE_CHEST_RIGHT ? box.x1 : box.x0);
        points.push_back(start.x);
        points.push_back(start.y);
    }
    if (points.size() < 2) return false;
    boundary_tracing(painted, bounds, points);
    return true;
}

Masking::MASK_STATUS Masking::breast_masking_by_boundary_tracing(Image* image, Mask*& breast, int* box) {
    if (!is_usable(image) || breast == nullptr) return MASK_BOUNDARY_TRACING;
    breast->SetPixelSize(image->GetPixelSize());

    int own_bounds[4] = {-1, -1, -1, -1};
    int* bounds = box != nullptr ? box : own_bounds;
    framemasking_for_pixel_padding_images(image, bounds);
    const Box field(bounds);
    if (!field.was_found()) return MASK_BOUNDARY_TRACING;

    std::vector<int> points = top_edge(*image, field, PaddingRange(params), params.side);
    if (points.empty()) return MASK_BOUNDARY_TRACING;
    boundary_tracing(image, bounds, points);
    if (takes_contour_points(params.contour)) {
        resample_boundary(points, *params.contour);
        std::copy_n(points.begin(), 2, params.contour->begin());
        std::copy_n(points.end() - 2, 2, params.contour->end() - 2);
    } else if (params.contour != nullptr) {
        params.contour->clear();
    }
    return MASK_BOUNDARY_TRACING;
}

}  // namespace Norvane
