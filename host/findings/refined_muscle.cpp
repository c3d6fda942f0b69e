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

constexpr double kClearlyMore = 0.03;    // contrast along another line above the exact one's, as a share of its amount
constexpr double kLeastContrast = 0.03;  // mean log contrast that a border has at least
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
    constexpr double kSmallest = 100.0;  // pixels of a breast in which a muscle could be recognized
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

// For each row of an image, the columns where the border crosses the middle of the row, ascending.
std::vector<std::vector<double>> crossings(const std::vector<GridPoint>& border, unsigned height) {
    const auto row_after = [height](double y) {
        return static_cast<unsigned>(std::clamp(std::ceil(y - 0.5), 0.0, static_cast<double>(height)));
    };
    std::vector<std::vector<double>> rows(height);
    for (std::size_t i = 0; i + 1 < border.size(); ++i) {
        const GridPoint& a = border[i];
        const GridPoint& b = border[i + 1];
        const auto [upper, lower] = std::minmax(a.y, b.y);
        for (unsigned y = row_after(upper); y < row_after(lower); ++y) {
            rows[y].push_back(a.x + (y + 0.5 - a.y) / (b.y - a.y) * (b.x - a.x));
        }
    }
    for (std::vector<double>& columns : rows) std::ranges::sort(columns);
    return rows;
}

// The muscle lies on the wall's side of the border: from the wall to the first crossing, and between later ones. Each
// stretch of columns counted from the wall ends before `end`.
struct Stretch {
    unsigned first, end;
};
std::vector<Stretch> inside_border(const std::vector<double>& crossed, unsigned width) {
    const auto column_after = [width](double x) {
        return static_cast<unsigned>(std::clamp(std::ceil(x - 0.5), 0.0, static_cast<double>(width)));
    };
    std::vector<Stretch> inside;
    for (std::size_t i = 0; i < crossed.size(); i += 2) {
        inside.push_back({i > 0 ? column_after(crossed[i - 1]) : 0, column_after(crossed[i])});
    }
    return inside;
}

Region region_inside(std::vector<GridPoint> border, const MaskBitmap& bound, const WallColumns& columns,
                     float pixel_size_um) {
    extend_ends(border);
    const std::vector<std::vector<double>> crossed = crossings(border, bound.height);
    std::vector<RowRuns> rows;
    for (unsigned y = 0; y < bound.height; ++y) {
        RowRuns row{y, {}};
        std::vector<Stretch> inside = inside_border(crossed[y], bound.width);
        if (columns.is_right) std::ranges::reverse(inside);
        for (const Stretch& stretch : inside) {
            const unsigned first = columns.is_right ? bound.width - stretch.end : stretch.first;
            for (unsigned x = first; x < first + (stretch.end - stretch.first); ++x) {
                if (!bound.at(x, y)) continue;
                if (row.runs.empty() || row.runs.back().last + 1 != x) row.runs.push_back({x, x});
                row.runs.back().last = x;
            }
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
        if (other.contrast > border.contrast + kClearlyMore * std::abs(border.contrast)) border = std::move(other);
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
    const MaskBitmap bound = joined(breast, exact, width, height);
    const MuscleGrey grey(prepared, bound, side);
    const bool is_missing = exact.area() == 0;
    const std::optional<MuscleBorder> border =
        is_missing ? missed_border(grey, breast, height) : best_border(grey, line_of(exact, columns), height);
    if (!border) return {exact, false, 0.0};
    const float pixel_size_um = is_missing ? breast.pixel_size_um() : exact.pixel_size_um();
    return {region_inside(border->points, bound, columns, pixel_size_um), true, border->low_log_contrast};
}

}  // namespace Norvane::Host
