// SPDX-License-Identifier: Apache-2.0
#include "contour/contour_to_mask.h"

#include "contour/polar_bins.h"
#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/numbers.h"

#include <algorithm>
#include <array>
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

/// The radius of the contour for each table index, in each of the four quadrants.
class RadiusByIndex {
public:
    RadiusByIndex(const std::vector<float>& contour, IMAGE_SIDE side) {
        const AcosTable table(Masking::NUM_IN_LUT);
        for (const int sx : {1, -1})
            for (const int sy : {1, -1})
                radii_[quadrant(sx, sy)] = tabulate<float>(
                    table, sx, sy, [&](float angle) { return contour[bin_of(angle, sy, side, contour.size())]; });
    }
    [[nodiscard]] const std::vector<float>& of(int sx, int sy) const { return radii_[quadrant(sx, sy)]; }

private:
    [[nodiscard]] static std::size_t quadrant(int sx, int sy) { return (sx > 0 ? 2U : 0U) + (sy > 0 ? 1U : 0U); }

    // With the wall on the right, the bin of the origin pixel itself is 0 and not the horizontal one.
    [[nodiscard]] static std::size_t bin_of(float angle, int sy, IMAGE_SIDE side, std::size_t bins) {
        constexpr int kFullCircle = 2 * Masking::c_num_angles;
        constexpr int kHorizontalBin = 360;
        int bin = truncate_to<int>(double{angle} * kBinsPerHalfCircle / kPi - sy * 0.5);
        if (side == SIDE_CHEST_RIGHT) bin -= kHorizontalBin;
        if (side == SIDE_CHEST_LEFT) bin = (sy * kFullCircle + bin) % kFullCircle + kHorizontalBin;
        return static_cast<std::size_t>(std::clamp<std::int64_t>(bin, 0, static_cast<std::int64_t>(bins) - 1));
    }

    std::array<std::vector<float>, 4> radii_;
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
        follow(first, split, radii_.of(-1, above_), kFarBlock);
        follow(split, last + 1, radii_.of(1, above_), kFarBlock);
        if (is_inside_) close_run(width_ - wall_allowance(field) - 1);
        return area_;
    }

private:
    static constexpr std::int64_t kBlock = 32;       // pixels
    static constexpr std::int64_t kFarBlock = 4096;  // for rows that are wider than any image

    /// Follows the columns from .. to - 1 on one side of the origin, block by block. Most blocks lie inside or outside
    /// as a whole.
    void follow(std::int64_t from, std::int64_t to, const std::vector<float>& radius, std::int64_t block) {
        if (to - from < kFarBlock) block = kBlock;
        for (std::int64_t x = from; x < to; x += block) {
            const std::int64_t end = std::min(x + block, to);
            const Place place = place_of(x, end - 1, radius);
            if (place != Place::kAcross)
                pass(x, place == Place::kInside);
            else if (block > kBlock)
                follow(x, end, radius, kBlock);
            else
                follow_pixels(x, end, radius);
        }
    }

    void follow_pixels(std::int64_t from, std::int64_t to, const std::vector<float>& radius) {
        polar_.set(static_cast<int>(from - edge_column_), static_cast<int>(to - 1 - edge_column_), dy_, above_);
        for (std::int64_t x = from; x < to; ++x) {
            const auto i = static_cast<std::size_t>(x - from);
            pass(x, radius[polar_.index[i]] > polar_.distance[i]);
        }
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
    [[nodiscard]] Place place_of(std::int64_t first, std::int64_t last, const std::vector<float>& radius) {
        const int a = static_cast<int>(first - edge_column_), b = static_cast<int>(last - edge_column_);
        if (dy_ == 0 && a <= 0 && b >= 0) return Place::kAcross;  // the origin has a separate index
        const int near = b <= 0 ? b : a, far = b <= 0 ? a : b;
        const auto [farthest, far_index] = PolarRow::pixel(far, dy_, above_);
        const auto [nearest, near_index] = PolarRow::pixel(near, dy_, above_);
        const int high = std::min(far_index + 1, Masking::NUM_IN_LUT), low = std::max(near_index - 1, 0);
        int beyond_farthest = 0, beyond_nearest = 0;  // radii; comparisons with a NaN are false
        for (int i = low; i <= high; ++i) {
            const float r = radius[static_cast<std::size_t>(i)];
            beyond_farthest += r > farthest ? 1 : 0;
            beyond_nearest += r > nearest ? 1 : 0;
        }
        if (beyond_farthest == high - low + 1) return Place::kInside;
        return beyond_nearest == 0 ? Place::kOutside : Place::kAcross;
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

    PolarRow polar_;  // the last block that was examined
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
    return static_cast<double>(out.GenerateFromClosedPolygon(points_of(contour), nullptr, nullptr)) + 1.0;
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
    const auto next_row = [&reader](std::int64_t from) {
        return static_cast<std::int64_t>(reader.next_row(static_cast<std::uint64_t>(from)));
    };
    for (std::int64_t y = next_row(first); y <= last; y = next_row(y + 1)) {
        const auto runs = reader.row(y);
        area += writer.write_row(y, {runs.front().first, runs.back().last});
    }
    return area;
}

}  // namespace Norvane
