// SPDX-License-Identifier: Apache-2.0
#include "contour/contour_to_mask.h"

#include "contour/polar_bins.h"
#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace Norvane {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kHalfPi = 1.5707963267948966;
constexpr double kBinsPerHalfCircle = 720.0;

/// The radii of a quadrant by table index, and their extremes in any range of indices.
class QuadrantRadii {
public:
    explicit QuadrantRadii(std::vector<float> by_index) : radii_(std::move(by_index)), spans_(1) {
        // A NaN counts as the lowest value, because no distance is smaller than it.
        for (const float radius : radii_) {
            const float known = std::isnan(radius) ? -std::numeric_limits<float>::infinity() : radius;
            spans_[0].push_back({known, known});
        }
        for (std::size_t half = 1; 2 * half <= radii_.size(); half *= 2) {
            const std::vector<Extremes>& halves = spans_.back();
            std::vector<Extremes> spans(halves.size() - half);
            for (std::size_t i = 0; i < spans.size(); ++i) spans[i] = joined(halves[i], halves[i + half]);
            spans_.push_back(std::move(spans));
        }
    }

    struct Extremes {
        float least, largest;
    };

    [[nodiscard]] float operator[](std::size_t index) const { return radii_[index]; }
    /// The extremes of the indices first .. last, of which there is one at least.
    [[nodiscard]] Extremes extremes(std::size_t first, std::size_t last) const {
        const auto level = static_cast<std::size_t>(std::bit_width(last - first + 1)) - 1;
        return joined(spans_[level][first], spans_[level][last + 1 - (std::size_t{1} << level)]);
    }

private:
    [[nodiscard]] static Extremes joined(const Extremes& a, const Extremes& b) {
        return {std::min(a.least, b.least), std::max(a.largest, b.largest)};
    }

    std::vector<float> radii_;
    std::vector<std::vector<Extremes>> spans_;  // by level: those of 2^level indices from each index on
};

/// The radius of the contour for each table index, in each of the four quadrants.
class RadiusByIndex {
public:
    RadiusByIndex(const std::vector<float>& contour, IMAGE_SIDE side) {
        const AcosTable table(Masking::NUM_IN_LUT);
        const Row<const float> radii{contour};
        for (const int sx : {-1, 1})
            for (const int sy : {-1, 1})
                quadrants_.emplace_back(tabulate<float>(
                    table, sx, sy, [&](float angle) { return radii[bin_of(angle, sy, side, std::ssize(contour))]; }));
    }
    [[nodiscard]] const QuadrantRadii& of(int sx, int sy) const {
        return quadrants_[(sx > 0 ? 2U : 0U) + (sy > 0 ? 1U : 0U)];
    }

private:
    // With the wall on the right, the bin of the origin pixel itself is 0 and not the horizontal one.
    [[nodiscard]] static std::int64_t bin_of(float angle, int sy, IMAGE_SIDE side, std::int64_t bins) {
        constexpr int kFullCircle = 2 * Masking::c_num_angles;
        constexpr int kHorizontalBin = 360;
        int bin = truncate_to<int>(double{angle} * kBinsPerHalfCircle / kPi - sy * 0.5);
        if (side == SIDE_CHEST_RIGHT) bin -= kHorizontalBin;
        if (side == SIDE_CHEST_LEFT) bin = (sy * kFullCircle + bin) % kFullCircle + kHorizontalBin;
        return std::clamp<std::int64_t>(bin, 0, bins - 1);
    }

    std::vector<QuadrantRadii> quadrants_;
};

/// No pixel this far from the origin, or farther, is inside the contour.
std::int64_t reach_of(const std::vector<float>& contour) {
    constexpr double kFarthest = 1 << 24;  // pixels; larger than any image; offsets up to it are exact floats
    float largest = 0.0F;
    for (const float radius : contour) largest = std::max(largest, radius);
    return truncate_to<std::int64_t>(std::min(std::ceil(double{largest}), kFarthest));
}

/// Writes the pixels that are nearer to the origin than the contour, run by run.
class RunWriter {
public:
    RunWriter(const PlacedContour& contour, Mask& out)
        : radii_(contour.radii, contour.side),
          reach_(reach_of(contour.radii)),
          edge_column_(contour.state.edgeColumn),
          centre_row_(contour.state.centreRow),
          side_(contour.side),
          width_(contour.image.GetWidth()),
          offset_x_(contour.image.GetOffX()),
          offset_y_(contour.image.GetOffY()),
          out_(out) {}

    /// The rows that can hold pixels inside the contour.
    [[nodiscard]] std::int64_t first_row() const { return centre_row_ - reach_; }
    [[nodiscard]] std::int64_t last_row() const { return centre_row_ + reach_; }

    /// Writes row y inside the columns of the field. Returns the sum of the extents that were written.
    double write_row(std::int64_t y, const Interval<std::int64_t>& field) {
        // The pixels at the full reach are outside, so they end a run like every farther pixel would.
        const auto [first, last] = field.cut_to({edge_column_ - reach_, edge_column_ + reach_});
        if (first > last) return 0.0;
        row_ = y;
        dy_ = static_cast<int>(y - centre_row_);
        above_ = y <= centre_row_ ? 1 : -1;
        area_ = 0.0;
        is_inside_ = false;
        const std::int64_t split =
            std::clamp(edge_column_ + 1, first, last + 1);  // the edge column belongs to the left part
        follow(first, split, radii_.of(-1, above_));
        follow(split, last + 1, radii_.of(1, above_));
        if (is_inside_) close_run(width_ - wall_allowance(field) - 1);
        return area_;
    }

private:
    static constexpr std::int64_t kFewPixels = 16;

    /// Follows the columns from .. to - 1 on one side of the origin. Columns that lie neither inside nor outside as a
    /// whole are halved until few are left. The plain definition is follow_pixels() for all columns.
    void follow(std::int64_t from, std::int64_t to, const QuadrantRadii& radius) {
        if (from >= to) return;
        const Place place = place_of(from, to - 1, radius);
        if (place != Place::kAcross) return pass(from, place == Place::kInside);
        if (to - from <= kFewPixels) return follow_pixels(from, to, radius);
        const std::int64_t middle = from + (to - from) / 2;
        follow(from, middle, radius);
        follow(middle, to, radius);
    }

    void follow_pixels(std::int64_t from, std::int64_t to, const QuadrantRadii& radius) {
        polar_.set(static_cast<int>(from - edge_column_), static_cast<int>(to - 1 - edge_column_), dy_, above_);
        for (std::size_t i = 0; i < polar_.index.size(); ++i, ++from)
            pass(from, radius[polar_.index[i]] > polar_.distance[i]);
    }

    void pass(std::int64_t x, bool inside) {
        if (inside == is_inside_) return;
        if (inside)
            run_start_ = x;
        else
            close_run(x);
        is_inside_ = inside;
    }

    enum class Place { kInside, kOutside, kAcross };

    /// Whether the columns first .. last lie inside, outside or across. Distance and table index both grow with the
    /// magnitude of the column offset, except that rounding of the distance can change the index by one.
    [[nodiscard]] Place place_of(std::int64_t first, std::int64_t last, const QuadrantRadii& radius) {
        const int a = static_cast<int>(first - edge_column_), b = static_cast<int>(last - edge_column_);
        if (dy_ == 0 && a <= 0 && b >= 0) return Place::kAcross;  // the origin has a separate index
        const int near = b <= 0 ? b : a, far = b <= 0 ? a : b;
        const auto [farthest, far_index] = PolarRow::pixel(far, dy_, above_);
        const auto [nearest, near_index] = PolarRow::pixel(near, dy_, above_);
        const int high = std::min(far_index + 1, Masking::NUM_IN_LUT), low = std::max(near_index - 1, 0);
        const auto [least, largest] = radius.extremes(static_cast<std::size_t>(low), static_cast<std::size_t>(high));
        if (least > farthest) return Place::kInside;
        return largest > nearest ? Place::kAcross : Place::kOutside;
    }

    /// `end` belongs to the run, because the first pixel outside is written too.
    void close_run(std::int64_t end) {
        const std::int64_t extent = end - run_start_;
        if (extent <= 0) return;
        add_run(out_, row_ + offset_y_, Interval<std::int64_t>{run_start_ + offset_x_, end + offset_x_});
        area_ += static_cast<double>(extent);
    }

    /// Number of columns at the end of the row that an open run leaves out. With the wall on the left, this is the
    /// number of columns before the field.
    [[nodiscard]] std::int64_t wall_allowance(const Interval<std::int64_t>& field) const {
        if (side_ == SIDE_CHEST_LEFT) return field.first;
        return side_ == SIDE_CHEST_RIGHT ? width_ - field.last - 1 : 0;
    }

    RadiusByIndex radii_;
    std::int64_t reach_;
    std::int64_t edge_column_;
    std::int64_t centre_row_;
    IMAGE_SIDE side_;
    std::int64_t width_;
    unsigned offset_x_;
    unsigned offset_y_;
    Mask& out_;

    PolarRow polar_;  // the last pixels that were examined
    std::int64_t row_ = 0;
    int dy_ = 0;
    int above_ = 1;
    std::int64_t run_start_ = 0;
    bool is_inside_ = false;
    double area_ = 0.0;
};

/// Converts a row bound of the frame to image rows.
std::int64_t without_offset(unsigned bound, unsigned offset) { return bound > offset ? bound - offset : 0; }

/// A coordinate of a point in the grid of the mask. If the offset takes it beyond the range of int, it stops there,
/// because a polygon that wraps from the last row to the first would cover all rows between.
int with_offset(std::int64_t coordinate, unsigned offset) {
    constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
    const std::int64_t sum = coordinate + offset;
    return static_cast<int>(offset <= kLargest ? std::min(sum, kLargest) : sum);
}

}  // namespace

std::vector<int> points_of(const PlacedContour& contour) {
    const auto& [radii, state, side, image] = contour;
    const double turn = side == SIDE_CHEST_LEFT ? -kHalfPi : kHalfPi;
    const std::int64_t last_column = std::max<std::int64_t>(std::int64_t{image.GetWidth()} - 1, 0);
    const std::int64_t last_row = std::max<std::int64_t>(std::int64_t{image.GetHeight()} - 1, 0);
    std::vector<int> points;
    points.reserve(2 * radii.size());
    for (std::size_t k = 0; k < radii.size(); ++k) {
        const float half_circles = static_cast<float>(static_cast<double>(k) * kPi);
        const float t = static_cast<float>(double{half_circles} / kBinsPerHalfCircle);
        const auto angle = double{static_cast<float>(double{t} + turn)};
        const float dx = radii[k] * static_cast<float>(std::cos(angle));
        const float dy = radii[k] * static_cast<float>(std::sin(angle));
        const std::int64_t x = std::int64_t{state.edgeColumn} + truncate_to<int>(double{dx});
        const std::int64_t y = std::int64_t{state.centreRow} - truncate_to<int>(double{dy});
        points.push_back(with_offset(std::clamp<std::int64_t>(x, 0, last_column), image.GetOffX()));
        points.push_back(with_offset(std::clamp<std::int64_t>(y, 0, last_row), image.GetOffY()));
    }
    return points;
}

double write_polygon(const PlacedContour& contour, Mask& out) {
    return out.GenerateFromClosedPolygon(points_of(contour), nullptr, nullptr) + 1.0;
}

double write_pixels_inside(const PlacedContour& contour, const Mask& frame, Mask& out) {
    double area = 1.0;
    if (contour.radii.empty() || MaskReader::is_empty(frame)) return area;
    const unsigned offset = contour.image.GetOffY();
    RunWriter writer(contour, out);
    MaskReader reader(frame);
    // The last row of the frame is not written.
    const std::int64_t last = std::min(without_offset(frame.GetMaxY(), offset) - 1, writer.last_row());
    const std::int64_t first = std::max(without_offset(frame.GetMinY(), offset), writer.first_row());
    for (std::int64_t y = reader.next_row(first); y <= last; y = reader.next_row(y + 1)) {
        const auto runs = reader.row(y);
        area += writer.write_row(y, {runs.front().first, runs.back().last});
    }
    return area;
}

}  // namespace Norvane
