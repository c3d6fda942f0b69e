// SPDX-License-Identifier: Apache-2.0
#include "findings/refined_muscle.h"

#include "findings/muscle_border.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr double kClearlyMore = 1.03;    // contrast along another line, as a multiple of that along the exact one
constexpr double kLeastContrast = 0.03;  // mean log contrast of what is a border at all
constexpr double kFoundContrast = 0.12;  // the same, of a muscle that the exact line missed
constexpr double kFoundLowContrast = 0.06;

/// Columns counted from the chest wall, whichever side it lies on.
struct WallColumns {
    bool is_right;
    unsigned width;

    [[nodiscard]] unsigned operator()(unsigned column) const { return is_right ? width - 1 - column : column; }
};

// The border of the exact muscle without its ends, which the borders of image and breast may have cut.
std::optional<MuscleLine> line_of(const Region& muscle, const WallColumns& columns) {
    std::vector<GridPoint> points;
    const std::size_t end = muscle.rows().size() / 10;
    for (std::size_t i = end; i + end < muscle.rows().size(); ++i) {
        const RowRuns& row = muscle.rows()[i];
        const unsigned outer = columns(columns.is_right ? row.runs.front().first : row.runs.back().last);
        points.push_back({outer + 1.0, row.row + 0.5});
    }
    return fitted_line(points);
}

// Where the muscle of an oblique view may lie, in shares of the breast's width and height.
std::vector<MuscleLine> typical_lines(const Region& breast) {
    constexpr GridPoint kPlaces[] = {{0.3, 0.4}, {0.5, 0.5}, {0.6, 0.7}};
    std::vector<MuscleLine> lines;
    const auto bounds = breast.bounds();
    if (!bounds) return lines;
    const double width = bounds->right - bounds->left + 1.0;
    const double height = bounds->bottom - bounds->top + 1.0;
    constexpr double kSmallest = 100.0;  // pixels of a breast in which a muscle could be told
    if (std::min(width, height) < kSmallest) return lines;
    for (const GridPoint& place : kPlaces) lines.push_back({place.x * width, place.y * height});
    return lines;
}

// The ends go on along the chord of the border, far beyond the image.
void extend_ends(std::vector<GridPoint>& points) {
    constexpr double kFar = 1e5;
    const GridPoint first = points.front(), last = points.back();
    const double length = std::max(1.0, std::hypot(last.x - first.x, last.y - first.y));
    const GridPoint along{(last.x - first.x) / length, (last.y - first.y) / length};
    points.insert(points.begin(), {first.x - kFar * along.x, first.y - kFar * along.y});
    points.push_back({last.x + kFar * along.x, last.y + kFar * along.y});
}

// Columns where the border crosses the middle of row `y`, ascending.
std::vector<double> crossings(const std::vector<GridPoint>& border, unsigned y) {
    std::vector<double> columns;
    const double middle = y + 0.5;
    for (std::size_t i = 0; i + 1 < border.size(); ++i) {
        const GridPoint& a = border[i];
        const GridPoint& b = border[i + 1];
        if ((a.y <= middle) == (b.y <= middle)) continue;
        columns.push_back(a.x + (middle - a.y) / (b.y - a.y) * (b.x - a.x));
    }
    std::ranges::sort(columns);
    return columns;
}

// The muscle lies on the wall's side of the border: from the wall to the first crossing, and between later ones.
std::vector<bool> inside_border(const std::vector<double>& columns, unsigned width) {
    std::vector<bool> inside(width);
    double first = 0.0;
    for (std::size_t i = 0; i < columns.size(); i += 2) {
        if (i > 0) first = columns[i - 1];
        for (double x = std::max(0.0, std::ceil(first - 0.5)); x < width && x + 0.5 < columns[i]; x += 1.0) {
            inside[static_cast<std::size_t>(x)] = true;
        }
    }
    return inside;
}

Region region_inside(std::vector<GridPoint> border, const MaskBitmap& bound, const WallColumns& columns,
                     float pixel_size_um) {
    extend_ends(border);
    std::vector<RowRuns> rows;
    for (unsigned y = 0; y < bound.height; ++y) {
        const std::vector<bool> inside = inside_border(crossings(border, y), bound.width);
        RowRuns row{y, {}};
        for (unsigned x = 0; x < bound.width; ++x) {
            if (!inside[columns(x)] || !bound.at(x, y)) continue;
            if (row.runs.empty() || row.runs.back().last + 1 != x) row.runs.push_back({x, x});
            row.runs.back().last = x;
        }
        if (!row.runs.empty()) rows.push_back(std::move(row));
    }
    return {std::move(rows), pixel_size_um};
}

MaskBitmap joined(const Region& a, const Region& b, unsigned width, unsigned height) {
    MaskBitmap both = a.bitmap(width, height);
    const MaskBitmap other = b.bitmap(width, height);
    std::ranges::transform(both.pixels, other.pixels, both.pixels.begin(),
                           [](std::uint8_t p, std::uint8_t q) { return static_cast<std::uint8_t>(p | q); });
    return both;
}

// Profiles across either of the two find the same border.
bool are_alike(const MuscleLine& a, const MuscleLine& b) {
    return std::abs(a.top_x - b.top_x) < 6.0 && std::abs(a.wall_y - b.wall_y) < 0.03 * b.wall_y;
}

// Nothing if there is no border.
std::optional<MuscleBorder> best_border(const MuscleGrey& grey, const std::optional<MuscleLine>& line, double height) {
    if (!line) return std::nullopt;
    MuscleBorder border = border_near(grey, *line, height);
    const auto other_line = line_by_rays(grey, *line, height);
    if (other_line && !are_alike(*other_line, *line)) {
        MuscleBorder other = border_near(grey, *other_line, height);
        if (other.contrast > kClearlyMore * border.contrast) border = std::move(other);
    }
    if (border.log_contrast < kLeastContrast) return std::nullopt;
    return border;
}

// The border of a muscle that the exact line missed.
std::optional<MuscleBorder> missed_border(const MuscleGrey& grey, const Region& breast, double height) {
    std::optional<MuscleBorder> best;
    for (const MuscleLine& line : typical_lines(breast)) {
        const auto found = line_by_rays(grey, line, height);
        if (!found) continue;
        MuscleBorder border = border_near(grey, *found, height);
        if (border.log_contrast < kFoundContrast || border.low_log_contrast < kFoundLowContrast) continue;
        if (!best || border.contrast > best->contrast) best = std::move(border);
    }
    return best;
}

}  // namespace

RefinedMuscle refine_muscle(const Image& prepared, const Region& breast, const Region& exact, IMAGE_SIDE side) {
    const unsigned width = prepared.GetWidth(), height = prepared.GetHeight();
    const WallColumns columns{side == SIDE_CHEST_RIGHT, width};
    const MuscleGrey grey(prepared, breast, exact, side);
    const bool is_missing = exact.area() == 0;
    const std::optional<MuscleBorder> border =
        is_missing ? missed_border(grey, breast, height) : best_border(grey, line_of(exact, columns), height);
    if (!border) return {exact, false, 0.0};
    const float pixel_size_um = is_missing ? breast.pixel_size_um() : exact.pixel_size_um();
    return {region_inside(border->points, joined(breast, exact, width, height), columns, pixel_size_um), true,
            border->low_log_contrast};
}

}  // namespace Norvane::Host
