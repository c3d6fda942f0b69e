// SPDX-License-Identifier: Apache-2.0
// Whether a line parts a brighter muscle from darker tissue: two contrast tests on the strips beside it.
#include <norvane/pect_detect.h>

#include "model/pixels.h"
#include "model/working_image.h"
#include "pect/line_in_image.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <span>

namespace Norvane {
namespace {

using PECT_STATUS = PectDetect::PECT_STATUS;

/// Non-zero pixels; zeros were cut off by the frame. The sums are exact.
struct Strip {
    std::uint64_t count = 0;
    std::uint64_t sum = 0;
    std::uint64_t squares = 0;

    void add(const Strip& other) {
        count += other.count;
        sum += other.sum;
        squares += other.squares;
    }
    [[nodiscard]] double mean() const { return static_cast<double>(sum) / static_cast<double>(count); }
    [[nodiscard]] double variance() const {
        return static_cast<double>(squares) / static_cast<double>(count) - mean() * mean();
    }
};

Strip strip_of(std::span<const std::uint16_t> pixels) {
    Strip strip;
    for (const std::uint16_t p : pixels) {
        strip.count += p != 0;
        strip.sum += p;
        strip.squares += std::uint64_t{p} * p;
    }
    return strip;
}

/// Calls visit(left strip, right strip) for every row from `first` on in which the line lies inside the image, and
/// returns the sum of the line's distances from the chest wall.
template <class Visit>
std::uint64_t visit_strips(const Image& image, const LineInImage& line, int first, IMAGE_SIDE side, Visit visit) {
    const std::int64_t width = image.GetWidth();
    const auto last_column = static_cast<float>(image.GetWidth() - 1);
    std::int64_t distances = 0;
    for (std::int64_t y = std::max(first, 0); y < image.GetHeight(); ++y) {
        const float column = line.column_at(y - first);
        if (!(column >= 0.0F && column <= last_column)) continue;
        const auto x = std::min(static_cast<std::int64_t>(column), width - 1);  // a huge width rounds up as a float
        distances += side == SIDE_CHEST_LEFT ? x : width - x;
        const std::int64_t low = std::max<std::int64_t>(x - PectDetect::C_CHECKWIDTH, 0);
        const std::int64_t high = std::min<std::int64_t>(x + PectDetect::C_CHECKWIDTH, width - 1);
        const auto row = grey_row(image, static_cast<unsigned>(y));
        visit(strip_of(row.subspan(static_cast<std::size_t>(low), static_cast<std::size_t>(x - low))),
              strip_of(row.subspan(static_cast<std::size_t>(x + 1), static_cast<std::size_t>(high - x))));
    }
    return static_cast<std::uint64_t>(distances);
}

/// On average, over all rows of the image, more than two thirds of the width away from the chest wall.
bool is_too_deep(const Image& image, std::uint64_t distances) {
    return 3 * distances > std::uint64_t{2} * image.GetWidth() * image.GetHeight();
}

/// Welch's t [welch1947]: the strips differ in size and in noise. Not a number where both are flat and equal.
double contrast(const Strip& muscle, const Strip& tissue) {
    return (muscle.mean() - tissue.mean()) / std::sqrt(muscle.variance() / static_cast<double>(muscle.count) +
                                                       tissue.variance() / static_cast<double>(tissue.count));
}

__extension__ using Int128 = __int128;  // GCC and Clang have it on every 64-bit platform

/// The mantissa of the extended precision, in integers: `long double` is another type on every platform. Values are in
/// units of 2^-kFractionBits, which leaves a mean, that is at least 1, enough bits to round.
constexpr int kMantissaBits = 64;
constexpr int kFractionBits = kMantissaBits + 2;

/// Rounded to the mantissa, half to even.
Int128 rounded_to_mantissa(Int128 v) {
    const Int128 size = v < 0 ? -v : v;
    const auto excess = static_cast<int>(std::bit_width(static_cast<std::uint64_t>(size >> kMantissaBits)));
    if (excess == 0) return v;
    const Int128 unit = Int128{1} << excess, half = unit / 2, below = size & (unit - 1);
    Int128 kept = size - below;
    if (below > half || (below == half && (kept & unit) != 0)) kept += unit;
    return v < 0 ? -kept : kept;
}

/// Of a strip with pixels: at most C_CHECKWIDTH of them, so that the sum has far less than 60 bits.
Int128 extended_mean(const Strip& strip) {
    const Int128 scaled = static_cast<Int128>(strip.sum) << kFractionBits;
    const Int128 quotient = scaled / strip.count;
    return rounded_to_mantissa(quotient | (scaled % strip.count != 0 ? 1 : 0));  // a last bit that breaks false ties
}

/// Differences of the strips' means, row by row; what a gradient along the line adds to both strips cancels.
struct PairedDifferences {
    float sum = 0.0F;
    float squares = 0.0F;
    int rows = 0;

    void add(const Strip& left, const Strip& right) {
        if (left.count == 0 || right.count == 0) return;
        // Rounded once: quotients and difference have the 64-bit mantissa of the x87 registers.
        const Int128 extended = rounded_to_mantissa(extended_mean(left) - extended_mean(right));
        const auto difference = std::ldexp(static_cast<float>(extended), -kFractionBits);
        sum += difference;
        squares += difference * difference;
        ++rows;
    }

    [[nodiscard]] float t(IMAGE_SIDE side) const {
        const auto n = static_cast<float>(rows);
        float mean = sum / n;
        if (side != SIDE_CHEST_LEFT) mean = -mean;  // muscle less tissue
        const float variance = squares / n - mean * mean;
        const float error = static_cast<float>(std::sqrt(static_cast<double>(variance / static_cast<float>(rows - 1))));
        return mean / error;
    }
};

PECT_STATUS missing_input(const Image* image, IMAGE_SIDE side) {
    if (image == nullptr) return PectDetect::PECT_NO_IMAGE;
    if (side == SIDE_UNDEFINED) return PectDetect::PECT_NO_SIDE;
    return is_usable(image) ? PectDetect::PECT_PASS : PectDetect::PECT_NO_IMAGE;
}

}  // namespace

PectDetect::PECT_STATUS PectDetect::verify_pect(Image* image, float rho, float theta, int dx, int dy, IMAGE_SIDE side) {
    if (const PECT_STATUS missing = missing_input(image, side); missing != PECT_PASS) return missing;
    Strip left, right;
    const LineInImage line(rho, theta, static_cast<float>(dx));
    const std::uint64_t distances =
        visit_strips(*image, line, dy, side, [&](const Strip& row_left, const Strip& row_right) {
            left.add(row_left);
            right.add(row_right);
        });
    if (is_too_deep(*image, distances)) return PECT_NOT_FOUND;
    if (left.count == 0 || right.count == 0) return PECT_FAIL;
    const double t = side == SIDE_CHEST_LEFT ? contrast(left, right) : contrast(right, left);
    if (t > UA_PASS) return PECT_PASS;
    return t > UA_WEAK ? PECT_WEAK : PECT_FAIL;
}

PectDetect::PECT_STATUS PectDetect::verify_pect_pairwise(Image* image, float rho, float theta, int dx, int dy,
                                                         IMAGE_SIDE side) {
    if (const PECT_STATUS missing = missing_input(image, side); missing != PECT_PASS) return missing;
    PairedDifferences differences;
    const LineInImage line(rho, theta, static_cast<float>(dx));
    const std::uint64_t distances = visit_strips(
        *image, line, dy, side, [&](const Strip& left, const Strip& right) { differences.add(left, right); });
    if (is_too_deep(*image, distances)) return PECT_NOT_FOUND;
    if (differences.rows < 1) return PECT_FAIL;
    return static_cast<double>(differences.t(side)) > UA_PAIRWISEPASS ? PECT_PASS : PECT_FAIL;
}

}  // namespace Norvane
