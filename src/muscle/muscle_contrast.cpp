// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_contrast.h"

#include "model/grey_statistics.h"
#include "model/pixels.h"
#include "model/working_image.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <span>

namespace Norvane {
namespace {

using PECT_STATUS = PectDetect::PECT_STATUS;

GreyStatistics strip_of(std::span<const std::uint16_t> pixels) {
    GreyStatistics strip;
    strip.add_above_zero(pixels);
    return strip;
}

/// Calls visit(left strip, right strip) for every row of the region in which the line lies inside the image, and
/// returns the sum of the line's distances from the chest wall.
template <class Visit>
std::int64_t visit_strips(const Image& image, const PlacedLine& placed, IMAGE_SIDE side, Visit visit) {
    const LineInImage line(placed);
    const std::int64_t width = image.GetWidth();
    const auto last_column = static_cast<float>(image.GetWidth() - 1);
    std::int64_t distances = 0;
    for (std::int64_t y = std::max<std::int64_t>(placed.dy, 0); y < image.GetHeight(); ++y) {
        const float column = line.column_at(y - placed.dy);
        if (!(column >= 0.0F && column <= last_column)) continue;
        const auto x = std::min(static_cast<std::int64_t>(column), width - 1);  // a huge width rounds up as a float
        distances += side == SIDE_CHEST_LEFT ? x : width - x;
        const std::int64_t low = std::max<std::int64_t>(x - PectDetect::C_CHECKWIDTH, 0);
        const std::int64_t high = std::min<std::int64_t>(x + PectDetect::C_CHECKWIDTH, width - 1);
        const auto row = grey_row(image, y);
        visit(strip_of(part_of(row, Interval<std::int64_t>{low, x - 1})),
              strip_of(part_of(row, Interval<std::int64_t>{x + 1, high})));
    }
    return distances;
}

/// Whether the line is, on average over all rows of the image, more than two thirds of the width away from the wall.
bool is_too_deep(const Image& image, std::int64_t distances) {
    return 3 * distances > std::int64_t{2} * image.GetWidth() * image.GetHeight();
}

Sample sample_of(const GreyStatistics& strip) { return {strip.mean(), strip.variance(), strip.size()}; }

__extension__ using Int128 = __int128;  // GCC and Clang have it on every 64-bit platform

/// The mantissa of the extended precision, in integers, because `long double` differs between platforms. Values are in
/// units of 2^-kFractionBits. A mean is at least 1, so it has enough bits for rounding.
constexpr int kMantissaBits = 64;
constexpr int kFractionBits = kMantissaBits + 2;

/// Rounds to the mantissa, half to even.
Int128 rounded_to_mantissa(Int128 v) {
    const Int128 size = v < 0 ? -v : v;
    const auto excess = static_cast<int>(std::bit_width(static_cast<std::uint64_t>(size >> kMantissaBits)));
    if (excess == 0) return v;
    const Int128 unit = Int128{1} << excess, half = unit / 2, below = size & (unit - 1);
    Int128 kept = size - below;
    if (below > half || (below == half && (kept & unit) != 0)) kept += unit;
    return v < 0 ? -kept : kept;
}

/// The mean of a strip, which must have pixels. It has at most C_CHECKWIDTH, so the sum has far fewer than 60 bits.
Int128 extended_mean(const GreyStatistics& strip) {
    const Int128 scaled = static_cast<Int128>(strip.sum()) << kFractionBits;
    const Int128 quotient = scaled / strip.count();
    return rounded_to_mantissa(quotient | (scaled % strip.count() != 0 ? 1 : 0));  // a last bit that breaks false ties
}

/// Differences of the means of the strips, row by row. A gradient along the line adds the same to both strips and
/// cancels.
struct PairedDifferences {
    float sum = 0.0F;
    float squares = 0.0F;
    int rows = 0;

    void add(const GreyStatistics& left, const GreyStatistics& right) {
        if (left.count() == 0 || right.count() == 0) return;
        // Rounded to float only once. Quotients and difference have the 64-bit mantissa of the x87 registers.
        const Int128 extended = rounded_to_mantissa(extended_mean(left) - extended_mean(right));
        const auto difference = std::ldexp(static_cast<float>(extended), -kFractionBits);
        sum += difference;
        squares += difference * difference;
        ++rows;
    }

    [[nodiscard]] float t(IMAGE_SIDE side) const {
        const auto n = static_cast<float>(rows);
        float mean = sum / n;
        if (side != SIDE_CHEST_LEFT) mean = -mean;  // muscle minus tissue
        const float variance = squares / n - mean * mean;
        const float error = static_cast<float>(std::sqrt(double{variance / static_cast<float>(rows - 1)}));
        return mean / error;
    }
};

PECT_STATUS missing_input(const Image* image, IMAGE_SIDE side) {
    if (image == nullptr) return PectDetect::PECT_NO_IMAGE;
    if (side == SIDE_UNDEFINED) return PectDetect::PECT_NO_SIDE;
    return is_usable(image) ? PectDetect::PECT_PASS : PectDetect::PECT_NO_IMAGE;
}

}  // namespace

PECT_STATUS verify_by_strips(const Image* image, const PlacedLine& line, IMAGE_SIDE side) {
    if (const PECT_STATUS missing = missing_input(image, side); missing != PectDetect::PECT_PASS) return missing;
    GreyStatistics left, right;
    const std::int64_t distances =
        visit_strips(*image, line, side, [&](const GreyStatistics& row_left, const GreyStatistics& row_right) {
            left.add(row_left);
            right.add(row_right);
        });
    if (is_too_deep(*image, distances)) return PectDetect::PECT_NOT_FOUND;
    if (left.count() == 0 || right.count() == 0) return PectDetect::PECT_FAIL;
    const bool muscle_is_left = side == SIDE_CHEST_LEFT;
    const double t = welch_t(sample_of(muscle_is_left ? left : right), sample_of(muscle_is_left ? right : left));
    if (t > PectDetect::UA_PASS) return PectDetect::PECT_PASS;
    return t > PectDetect::UA_WEAK ? PectDetect::PECT_WEAK : PectDetect::PECT_FAIL;
}

PECT_STATUS verify_by_pairs(const Image* image, const PlacedLine& line, IMAGE_SIDE side) {
    if (const PECT_STATUS missing = missing_input(image, side); missing != PectDetect::PECT_PASS) return missing;
    PairedDifferences differences;
    const std::int64_t distances =
        visit_strips(*image, line, side,
                     [&](const GreyStatistics& left, const GreyStatistics& right) { differences.add(left, right); });
    if (is_too_deep(*image, distances)) return PectDetect::PECT_NOT_FOUND;
    if (differences.rows < 1) return PectDetect::PECT_FAIL;
    return double{differences.t(side)} > PectDetect::UA_PAIRWISEPASS ? PectDetect::PECT_PASS : PectDetect::PECT_FAIL;
}

}  // namespace Norvane
