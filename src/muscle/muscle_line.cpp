// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_line.h"

#include <norvane/pect_detect.h>

#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/working_image.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numbers>
#include <span>
#include <utility>
#include <vector>

namespace Norvane {
namespace {

// The normal of a muscle's border lies between these degrees if the wall is on the left. For a wall on the right, they
// are mirrored.
constexpr float kFlattestNormal = 5.0F;
constexpr float kSteepestNormal = 50.0F;

float radians(float from_degrees, unsigned bin) {
    return static_cast<float>(bin * std::numbers::pi / 180.0 + double{from_degrees} * std::numbers::pi / 180.0);
}

/// The columns of the edge pixels, row by row. They are floats, because every vote multiplies them.
struct EdgePoints {
    std::vector<float> columns;
    std::vector<std::size_t> row_ends;  // into `columns`

    explicit EdgePoints(const Image& edge) {
        row_ends.reserve(edge.GetHeight());
        for (unsigned y = 0; y < edge.GetHeight(); ++y) {
            const auto row = grey_row(edge, y);
            for (std::size_t x = 0; x < row.size(); ++x) {
                if (row[x] != 0) columns.push_back(static_cast<float>(x));
            }
            row_ends.push_back(columns.size());
        }
    }
};

/// For lines of one direction, counts the edge pixels in each bin of the distance. The counters wrap at 16 bits.
void vote(const EdgePoints& points, float theta, std::span<std::uint16_t> bins) {
    const Normal normal(theta);
    const float bins_per_row = normal.sine / PectDetect::C_RBINSIZE;
    const float bins_per_column = normal.cosine / PectDetect::C_RBINSIZE;
    const auto end = static_cast<double>(bins.size());
    float row_term = 0.0F;  // summed row by row; its rounding errors are part of the result
    std::size_t i = 0;
    for (const std::size_t row_end : points.row_ends) {
        for (; i < row_end; ++i) {
            const float v = points.columns[i] * bins_per_column + row_term;
            if (v >= 0.0F && double{v} < end) ++bins[static_cast<std::size_t>(v)];
        }
        row_term += bins_per_row;
    }
}

struct Peak {
    unsigned distance_bin = 0;
    unsigned angle_bin = 0;
};

/// The first largest counter, by distance and then by angle.
Peak find_peak(const Image& accumulator) {
    Peak peak;
    std::uint16_t best = 0;
    for (unsigned bin = 0; bin < accumulator.GetHeight(); ++bin) {
        const auto row = grey_row(accumulator, bin);
        for (unsigned angle = 0; angle < row.size(); ++angle) {
            if (row[angle] <= best) continue;
            best = row[angle];
            peak = {bin, angle};
        }
    }
    return peak;
}

/// The rows of the image that the bound mask spans, without the last one.
Interval<std::int64_t> bounded_rows(const Image& image, const Mask& bound) {
    const std::int64_t top = image.GetOffY();
    const std::int64_t last = std::max<std::int64_t>(std::int64_t{bound.GetMaxY()} - top, 0);
    return {std::max<std::int64_t>(std::int64_t{bound.GetMinY()} - top, 0),
            std::min<std::int64_t>(last, std::int64_t{image.GetHeight()} - 1) - 1};
}

/// Where the muscle ends towards a chest wall on the left or the right: at the bound mask, in the grid of the image's
/// origin.
using Walls = Interval<std::int64_t>;

/// The muscle between a wall on the left and the line, in one row of `pect`.
void add_left_of_line(float column, const Image& image, const Walls& walls, std::int64_t row, Mask& pect) {
    if (!(column >= 0.0F)) return;
    const float line = std::min(column, static_cast<float>(image.GetWidth() - 1));
    const auto extent =
        truncate_to<std::int64_t>(double{line} + 0.5 + image.GetOffX() - static_cast<double>(walls.first));
    if (extent >= 0) add_run(pect, row, Walls{walls.first, walls.first + extent});
}

/// The muscle between the line and a wall on the right.
void add_right_of_line(float column, const Image& image, const Walls& walls, std::int64_t row, Mask& pect) {
    if (!(column <= static_cast<float>(image.GetWidth() - 1))) return;
    const float line = std::max(column, 0.0F);
    const auto first = truncate_to<std::int64_t>(double{line} + 0.5 + image.GetOffX());
    if (first <= walls.last) add_run(pect, row, Walls{first, walls.last});
}

}  // namespace

std::optional<HoughPeak> strongest_line(const Image* edges, const Interval<float>& degrees) {
    if (!is_usable(edges)) return std::nullopt;
    const double width = edges->GetWidth(), height = edges->GetHeight();
    const float diagonal = static_cast<float>(std::sqrt(width * width + height * height));
    const auto angles = truncate_to<unsigned>(double{degrees.last - degrees.first} + 0.5);
    const auto distances = truncate_to<unsigned>(double{diagonal} / PectDetect::C_RBINSIZE + 0.5);

    auto counters = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, angles, distances, true);
    if (distances != 0) {
        const EdgePoints points(*edges);
        std::vector<std::uint16_t> bins(distances);
        for (unsigned a = 0; a < angles; ++a) {
            std::ranges::fill(bins, std::uint16_t{0});
            vote(points, radians(degrees.first, a), bins);
            for (unsigned r = 0; r < distances; ++r) grey_row_to_write(*counters, r)[a] = bins[r];
        }
    }
    const Peak peak = find_peak(*counters);
    return HoughPeak{
        {static_cast<float>(peak.distance_bin) * PectDetect::C_RBINSIZE, radians(degrees.first, peak.angle_bin)},
        std::move(counters)};
}

std::optional<Line> muscle_border(const Image* edges, IMAGE_SIDE side) {
    const auto found =
        strongest_line(edges, side == SIDE_CHEST_RIGHT ? Interval<float>{-kSteepestNormal, -kFlattestNormal}
                                                       : Interval<float>{kFlattestNormal, kSteepestNormal});
    if (!found) return std::nullopt;
    Line line = found->line;
    // Use the middle of the bin. With a wall on the right, the lower edge of the bin is kept.
    if (side == SIDE_CHEST_LEFT) line.rho += PectDetect::C_RBINSIZE / 2.0F;
    return line;
}

void write_muscle(const Image& image, Mask& bound, const PlacedLine& line, IMAGE_SIDE side, Mask& muscle) {
    bound.SetTargetPixelSize(image.GetPixelSize());
    muscle.SetPixelSize(image.GetPixelSize());
    if (image.GetWidth() == 0) return;

    const LineInImage columns(line);
    const Walls walls{std::max(bound.GetMinX(), image.GetOffX()), bound.GetMaxX()};
    const Interval<std::int64_t> rows = bounded_rows(image, bound);
    const auto add_row = side == SIDE_CHEST_LEFT ? add_left_of_line : add_right_of_line;
    for (std::int64_t y = rows.first; y <= rows.last; ++y) {
        const auto region_row = static_cast<std::int32_t>(static_cast<unsigned>(y) - static_cast<unsigned>(line.dy));
        add_row(columns.column_at(region_row), image, walls, image.GetOffY() + y, muscle);
    }
}

}  // namespace Norvane
