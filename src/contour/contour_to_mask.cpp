// SPDX-License-Identifier: Apache-2.0
/// Writes a polar contour into a mask: pixel by pixel, or as a filled polygon of its points.
#include <norvane/masking.h>

#include "contour/polar_bins.h"
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

/// The contour's radius by table index, for each of the four quadrants.
class RadiusByIndex {
public:
    RadiusByIndex(const std::vector<float>& contour, IMAGE_SIDE side) {
        const AcosTable table(Masking::NUM_IN_LUT);
        for (const int sx : {1, -1})
            for (const int sy : {1, -1})
                radii[quadrant(sx, sy)] = tabulate<float>(
                    table, sx, sy, [&](float angle) { return contour[bin_of(angle, sy, side, contour.size())]; });
    }
    [[nodiscard]] const std::vector<float>& of(int sx, int sy) const { return radii[quadrant(sx, sy)]; }

private:
    [[nodiscard]] static std::size_t quadrant(int sx, int sy) { return (sx > 0 ? 2U : 0U) + (sy > 0 ? 1U : 0U); }

    // On the right the bin of the origin pixel itself is 0, not the horizontal one.
    [[nodiscard]] static std::size_t bin_of(float angle, int sy, IMAGE_SIDE side, std::size_t bins) {
        constexpr int kFullCircle = 2 * Masking::c_num_angles;
        constexpr int kHorizontalBin = 360;
        int bin = truncate_to<int>(static_cast<double>(angle) * kBinsPerHalfCircle / kPi - sy * 0.5);
        if (side == SIDE_CHEST_RIGHT) bin -= kHorizontalBin;
        if (side == SIDE_CHEST_LEFT) bin = (sy * kFullCircle + bin) % kFullCircle + kHorizontalBin;
        return static_cast<std::size_t>(std::clamp<std::int64_t>(bin, 0, static_cast<std::int64_t>(bins) - 1));
    }

    std::array<std::vector<float>, 4> radii;
};

/// No pixel this far from the origin, or farther, is inside the contour.
std::int64_t reach_of(const std::vector<float>& contour) {
    constexpr double kFarthest = 1 << 24;  // pixels; no image comes near it, and offsets are exact floats up to it
    float largest = 0.0F;
    for (const float radius : contour) largest = std::max(largest, radius);
    return truncate_to<std::int64_t>(std::min(std::ceil(static_cast<double>(largest)), kFarthest));
}

/// Writes the pixels nearer to the origin than the contour, as one run after the other.
class RunWriter {
public:
    RunWriter(const std::vector<float>& contour, const ContourState& state, IMAGE_SIDE image_side, const Image& image,
              Mask& mask)
        : radii(contour, image_side),
          reach(reach_of(contour)),
          edge_column(state.edgeColumn),
          centre_row(state.centreRow),
          side(image_side),
          width(image.GetWidth()),
          offset_x(image.GetOffX()),
          offset_y(image.GetOffY()),
          out(mask) {}

    /// The rows that can hold pixels inside the contour.
    [[nodiscard]] std::int64_t first_row() const { return centre_row - reach; }
    [[nodiscard]] std::int64_t last_row() const { return centre_row + reach; }

    /// Columns field_first .. field_last of row y; returns the sum of the extents written.
    double write_row(std::int64_t y, std::int64_t field_first, std::int64_t field_last) {
        // The pixels at the full reach are outside: they end a run as every farther pixel would.
        const std::int64_t first = std::max(field_first, edge_column - reach);
        const std::int64_t last = std::min(field_last, edge_column + reach);
        if (first > last) return 0.0;
        row = y;
        dy = static_cast<int>(y - centre_row);
        above = y <= centre_row ? 1 : -1;
        area = 0.0;
        is_inside = false;
        const std::int64_t split = std::clamp(edge_column + 1, first, last + 1);  // the edge column belongs to its left
        follow(first, split, radii.of(-1, above), kFarBlock);
        follow(split, last + 1, radii.of(1, above), kFarBlock);
        if (is_inside) close_run(width - wall_allowance(field_first, field_last) - 1);
        return area;
    }

private:
    static constexpr std::int64_t kBlock = 32;       // pixels
    static constexpr std::int64_t kFarBlock = 4096;  // of rows that are wider than any image

    /// Columns from .. to - 1, on one side of the origin, block by block: most blocks lie inside or outside as a whole.
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
        polar.set(static_cast<int>(from - edge_column), static_cast<int>(to - 1 - edge_column), dy, above);
        for (std::int64_t x = from; x < to; ++x) {
            const auto i = static_cast<std::size_t>(x - from);
            pass(x, radius[polar.index[i]] > polar.distance[i]);
        }
    }

    void pass(std::int64_t x, bool inside) {
        if (inside == is_inside) return;
        if (inside)
            run_start = x;
        else
            close_run(x);
        is_inside = inside;
    }

    enum class Place { kInside, kOutside, kAcross };

    /// Where the pixels of columns first .. last lie. Distance and table index both grow with the column offset's
    /// magnitude, the index but for one step that the rounding of the distance can make.
    [[nodiscard]] Place place_of(std::int64_t first, std::int64_t last, const std::vector<float>& radius) {
        const int a = static_cast<int>(first - edge_column), b = static_cast<int>(last - edge_column);
        if (dy == 0 && a <= 0 && b >= 0) return Place::kAcross;  // the origin has an index of its own
        const int near = b <= 0 ? b : a, far = b <= 0 ? a : b;
        polar.set(far, far, dy, above);
        const float farthest = polar.distance[0];
        const int high = std::min(polar.index[0] + 1, Masking::NUM_IN_LUT);
        polar.set(near, near, dy, above);
        const float nearest = polar.distance[0];
        const int low = std::max(polar.index[0] - 1, 0);
        int beyond_farthest = 0, beyond_nearest = 0;  // radii; comparisons with a NaN are false
        for (int i = low; i <= high; ++i) {
            const float r = radius[static_cast<std::size_t>(i)];
            beyond_farthest += r > farthest ? 1 : 0;
            beyond_nearest += r > nearest ? 1 : 0;
        }
        if (beyond_farthest == high - low + 1) return Place::kInside;
        return beyond_nearest == 0 ? Place::kOutside : Place::kAcross;
    }

    /// `end` belongs to the run: the first pixel outside is written, too.
    void close_run(std::int64_t end) {
        const std::int64_t extent = end - run_start;
        if (extent <= 0) return;
        out.AddSegment(static_cast<unsigned>(row) + offset_y, offset_x + static_cast<unsigned>(run_start),
                       static_cast<unsigned>(extent));
        area += static_cast<double>(extent);
    }

    /// Columns at the end of the row that an open run leaves out. On the left these mirror the columns before the
    /// field.
    [[nodiscard]] std::int64_t wall_allowance(std::int64_t field_first, std::int64_t field_last) const {
        if (side == SIDE_CHEST_LEFT) return field_first;
        return side == SIDE_CHEST_RIGHT ? width - field_last - 1 : 0;
    }

    RadiusByIndex radii;
    std::int64_t reach;
    std::int64_t edge_column;
    std::int64_t centre_row;
    IMAGE_SIDE side;
    std::int64_t width;
    unsigned offset_x;
    unsigned offset_y;
    Mask& out;

    PolarRow polar;  // of the block last looked at
    std::int64_t row = 0;
    int dy = 0;
    int above = 1;
    std::int64_t run_start = 0;
    bool is_inside = false;
    double area = 0.0;
};

/// A row bound of the frame in image rows.
std::int64_t without_offset(unsigned bound, unsigned offset) { return bound > offset ? bound - offset : 0; }

/// A coordinate of a point in the grid of the mask. Offsets that only the largest coordinates take beyond the range of
/// int stop there: a polygon that wraps from the last row to the first would cover all rows between.
int with_offset(std::int64_t coordinate, unsigned offset) {
    constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
    const std::int64_t sum = coordinate + offset;
    return static_cast<int>(offset <= kLargest ? std::min(sum, kLargest) : sum);
}

/// The contour's points in image coordinates plus the image's offset, x and y in turn.
std::vector<int> points_of(const std::vector<float>& contour, const ContourState& state, IMAGE_SIDE side,
                           const Image& image) {
    const double turn = side == SIDE_CHEST_LEFT ? -kHalfPi : kHalfPi;
    const std::int64_t last_column = std::max<std::int64_t>(static_cast<std::int64_t>(image.GetWidth()) - 1, 0);
    const std::int64_t last_row = std::max<std::int64_t>(static_cast<std::int64_t>(image.GetHeight()) - 1, 0);
    std::vector<int> points;
    points.reserve(2 * contour.size());
    for (std::size_t k = 0; k < contour.size(); ++k) {
        const float half_circles = static_cast<float>(static_cast<double>(k) * kPi);
        const float t = static_cast<float>(static_cast<double>(half_circles) / kBinsPerHalfCircle);
        const auto angle = static_cast<double>(static_cast<float>(static_cast<double>(t) + turn));
        const float dx = contour[k] * static_cast<float>(std::cos(angle));
        const float dy = contour[k] * static_cast<float>(std::sin(angle));
        const std::int64_t x = std::int64_t{state.edgeColumn} + truncate_to<int>(static_cast<double>(dx));
        const std::int64_t y = std::int64_t{state.centreRow} - truncate_to<int>(static_cast<double>(dy));
        points.push_back(with_offset(std::clamp<std::int64_t>(x, 0, last_column), image.GetOffX()));
        points.push_back(with_offset(std::clamp<std::int64_t>(y, 0, last_row), image.GetOffY()));
    }
    return points;
}

}  // namespace

double Masking::write_half_contour_to_mask(std::vector<float>& contour, Mask* out, Mask* frame, Image* image) {
    double area = 1.0;  // keeps the ratio of image to mask finite
    if (contour.empty() || out == nullptr || frame == nullptr || image == nullptr || contourState == nullptr)
        return area;
    if (MaskReader::is_empty(*frame)) return area;

    RunWriter writer(contour, *contourState, params.side, *image, *out);
    MaskReader reader(*frame);
    // The last row of the frame is not written.
    const std::int64_t end = without_offset(frame->GetMaxY(), image->GetOffY());
    const std::int64_t last = std::min(end - 1, writer.last_row());
    const std::int64_t first = std::max(without_offset(frame->GetMinY(), image->GetOffY()), writer.first_row());
    const auto next_row = [&reader](std::int64_t from) {
        return static_cast<std::int64_t>(reader.next_row(static_cast<std::uint64_t>(from)));
    };
    for (std::int64_t y = next_row(first); y <= last; y = next_row(y + 1)) {
        const auto runs = reader.row(static_cast<unsigned>(y));
        area += writer.write_row(y, runs.front().first, runs.back().last);
    }
    return area;
}

double Masking::write_half_contour_to_mask_opt(std::vector<float>& contour, Mask* out, Mask* frame, Image* image) {
    if (image == nullptr || contourState == nullptr) return params.contourOutput ? 0.0 : 1.0;
    std::vector<int> points = points_of(contour, *contourState, params.side, *image);
    if (params.contourOutput) {
        if (params.contour == nullptr) return 0.0;
        if (params.contour->size() == points.size())
            std::ranges::copy(points, params.contour->begin());  // the host's storage stays where it is
        else
            params.contour->clear();
        return 0.0;
    }
    if (out == nullptr) return 1.0;
    return static_cast<double>(out->GenerateFromClosedPolygon(std::move(points), frame, image)) + 1.0;
}

}  // namespace Norvane
