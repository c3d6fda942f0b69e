// SPDX-License-Identifier: Apache-2.0
/// Convolution with the predefined kernels, and the box blur. Outside the image are zeros.
#include "model/wide_vectors.h"
#include "platform/raster.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>

namespace Norvane {

using namespace Platform;

namespace {

struct Kernel {
    int size;  // cells per side, 3 or 5
    int divisor;
    std::array<int, 25> cells;  // rows from the top
};

// clang-format off
constexpr std::array<Kernel, 11> kKernels{{
    {3, 1, {-1, 0, 1, -1, 0, 1, -1, 0, 1}},     // Prewitt, vertical edges
    {3, 1, {1, 1, 1, 0, 0, 0, -1, -1, -1}},     // Prewitt, horizontal edges
    {3, 1, {-1, 0, 1, -2, 0, 2, -1, 0, 1}},     // Sobel, vertical edges
    {3, 1, {1, 2, 1, 0, 0, 0, -1, -2, -1}},     // Sobel, horizontal edges
    {3, 1, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},  // Laplacian
    {5, 1, {-1, -3, -4, -3, -1, -3, 0, 6, 0, -3, -4, 6, 20, 6, -4, -3, 0, 6, 0, -3, -1, -3, -4, -3, -1}},  // Laplacian
    {3, 16, {1, 2, 1, 2, 4, 2, 1, 2, 1}},       // Gaussian
    {5, 571, {2, 7, 12, 7, 2, 7, 31, 52, 31, 7, 12, 52, 127, 52, 12, 7, 31, 52, 31, 7, 2, 7, 12, 7, 2}},   // Gaussian
    {3, 1, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},  // high pass
    {5, 1, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
    {3, 8, {-1, -1, -1, -1, 16, -1, -1, -1, -1}},  // sharpening
}};
// clang-format on

/// Exact for sums over any of the kernels.
template <class Sample>
using KernelSum = std::conditional_t<std::is_floating_point_v<Sample>, double,
                                     std::conditional_t<sizeof(Sample) == 4, std::int64_t, std::int32_t>>;

/// Number of pixels whose sums are computed together.
constexpr std::size_t kLanes = 16;

/// The source rows under a kernel of Size x Size cells, with zeros on all four sides. Rows must be asked for in
/// ascending order from 0.
template <class Sample, std::size_t Size>
class KernelRows {
public:
    /// `largest_exact`: see has_exact_sums().
    KernelRows(const IplHeader& src, float largest_exact) : source_(src), largest_(largest_exact) {
        for (auto& row : rows_) row.assign(source_.width + 2 * kReach + kLanes, Sample{0});
        is_whole_.fill(true);
        for (std::size_t y = 0; y < kReach && y < source_.height; ++y) load(y);
    }

    void move_to(std::size_t y) {
        if (y + kReach < source_.height) {
            load(y + kReach);
        } else {
            std::ranges::fill(rows_[slot(y + kReach)], Sample{0});
            is_whole_[slot(y + kReach)] = true;
        }
        for (std::size_t j = 0; j < Size; ++j) met_[j] = rows_[slot(y + Size - 1 - j - kReach)];
    }

    /// Whether all samples under the kernel are whole numbers of at most the given magnitude, as after a conversion
    /// from integers. Then their sums are exact in single precision too.
    [[nodiscard]] bool has_exact_sums() const { return std::ranges::all_of(is_whole_, std::identity()); }

    /// Sums of kernel cells times source pixels, for the pixels x .. x + kLanes - 1. The kernel is turned by 180
    /// degrees. Its products are added row by row over its cells, because floats depend on the order. The loop over the
    /// lanes is vectorised; the cells are unrolled and keep their order inside each lane.
    template <class Sum>
    [[nodiscard]] std::array<Sum, kLanes> sums_from(std::size_t x, const std::array<Sum, Size * Size>& cells) const {
        std::array<Sum, kLanes> sums;
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            Sum sum = 0;
            for (std::size_t j = 0; j < Size; ++j)
                for (std::size_t i = 0; i < Size; ++i)
                    // NOLINTNEXTLINE(bugprone-signed-char-misuse): 8-bit samples are numbers here, not characters
                    sum += cells[j * Size + i] * static_cast<Sum>(met_[j][x + lane + Size - 1 - i]);
            sums[lane] = sum;
        }
        return sums;
    }

private:
    static constexpr std::size_t kReach = Size / 2;

    /// The slot of row `y`, which may be up to kReach above the first. -1 has wrapped, and adding Size undoes that.
    [[nodiscard]] static std::size_t slot(std::size_t y) { return (y + Size) % Size; }

    void load(std::size_t y) {
        const auto from = row_of<Sample>(source_, y);
        const auto to = std::span(rows_[slot(y)]).subspan(kReach, from.size());
        std::ranges::copy(from, to.begin());
        if constexpr (std::is_same_v<Sample, float>) {
            constexpr float kWholeOnly = 12582912.0F;  // 1.5 * 2^23: up to 2^22, a sum with it cannot hold fractions
            unsigned misfits = 0;
            for (const float v : to) {  // a NaN compares false
                misfits |= (v + kWholeOnly) - kWholeOnly == v ? 0U : 1U;
                misfits |= std::fabs(v) <= largest_ ? 0U : 1U;
            }
            is_whole_[slot(y)] = misfits == 0;
        }
    }

    const IplHeader& source_;
    float largest_;
    std::array<std::vector<Sample>, Size> rows_;
    std::array<bool, Size> is_whole_{};
    std::array<std::span<const Sample>, Size> met_;  // by kernel row
};

template <class Sample, class Sum>
Sample quotient(Sum sum, int divisor) {
    if constexpr (std::is_floating_point_v<Sample>)
        return divisor == 1 ? static_cast<Sample>(sum) : static_cast<Sample>(double{sum} / divisor);
    else
        return saturate<Sample>(divisor == 1 ? std::int64_t{sum} : divide_half_up(sum, divisor));
}

template <class Sum, class Sample, std::size_t Size>
void convolve_row(const KernelRows<Sample, Size>& rows, const Kernel& kernel, std::span<Sample> to) {
    std::array<Sum, Size * Size> cells;
    for (std::size_t i = 0; i < cells.size(); ++i) cells[i] = static_cast<Sum>(kernel.cells[i]);
    const auto write = [&rows, &cells, to, divisor = kernel.divisor](std::size_t x, std::size_t count) {
        const auto sums = rows.template sums_from<Sum>(x, cells);
        for (std::size_t lane = 0; lane < count; ++lane) to[x + lane] = quotient<Sample>(sums[lane], divisor);
    };
    std::size_t x = 0;
    for (; x + kLanes <= to.size(); x += kLanes) write(x, kLanes);
    if (x < to.size()) write(x, to.size() - x);
}

template <class Sample, std::size_t Size>
void convolve(const IplHeader& src, const IplHeader& dst, const Kernel& kernel) {
    constexpr float kExact = 16777216.0F;  // 2^24: up to this, floats hold every whole number
    int weight = 4;                        // at least 4, for samples of up to 2^22
    for (const int cell : kernel.cells) weight += std::abs(cell);
    KernelRows<Sample, Size> rows(src, kExact / static_cast<float>(weight));
    for (std::size_t y = 0; y < src.height; ++y) {  // reads a row before it is written, so both may be one image
        run_wide([&] {
            rows.move_to(y);
            const auto to = row_to_write<Sample>(dst, y);
            if constexpr (std::is_same_v<Sample, float>)
                if (rows.has_exact_sums()) return convolve_row<float>(rows, kernel, to);
            convolve_row<KernelSum<Sample>>(rows, kernel, to);
        });
    }
}

/// A box of pixels around one pixel: columns x + left .. x + left + cols - 1, rows likewise.
struct Box {
    std::int64_t left, cols, top, rows;
    [[nodiscard]] std::int64_t cells() const { return cols * rows; }
};

/// Means of sums over n <= kFastBoxCells samples of at most 16 bits, without a division.
///
/// floor(s / n + 1/2) is floor((2 s + n) / 2 n). Adding half a unit to that numerator keeps the quotient at least 1 / 4
/// n away from every integer. The product with the rounded reciprocal and the sum with the rounded rest err by less
/// than 2^-34, so truncation gives the exact floor. Signed samples are shifted to be positive first.
constexpr std::int64_t kFastBoxCells = 32768;  // 65535 times this fits 31 bits

template <class Sample>
class RoundedMean {
public:
    explicit RoundedMean(std::int64_t n)
        : reciprocal_(1.0 / static_cast<double>(n)),
          rest_((static_cast<double>((2 * kShift + 1) * n) + 0.5) / static_cast<double>(2 * n)) {}
    [[nodiscard]] Sample operator()(std::int32_t sum) const {
        return static_cast<Sample>(static_cast<std::int32_t>(sum * reciprocal_ + rest_) - kShift);
    }

private:
    static constexpr std::int32_t kShift = -std::int32_t{std::numeric_limits<Sample>::min()};
    double reciprocal_, rest_;
};

template <class Sample>
class ExactMean {
public:
    explicit ExactMean(std::int64_t n) : cells_(n) {}
    [[nodiscard]] Sample operator()(std::int64_t sum) const { return static_cast<Sample>(divide_half_up(sum, cells_)); }

private:
    std::int64_t cells_;
};

/// Sums of the columns over the rows of the box, which are updated from row to row. The arithmetic is modulo 2^32 or
/// 2^64. The sums over a whole box fit, so their differences are exact.
template <class Sample, class Sum>
class ColumnSums {
public:
    ColumnSums(const IplHeader& src, const Box& b)
        : source_(src),
          box_(b),
          left_margin_(margin(-box_.left)),
          no_samples_(src.width),
          sums_(src.width),
          running_(left_margin_ + src.width + 1 + margin(box_.left + box_.cols)) {
        const std::int64_t last = std::min<std::int64_t>(box_.top + box_.rows, source_.height) - 1;
        for (std::int64_t y = std::max<std::int64_t>(box_.top, 0); y <= last; ++y) exchange(row_at(y), no_samples_);
    }

    /// Moves from the rows around `y` to the rows around y + 1.
    void advance(std::int64_t y) { exchange(row_at(y + box_.top + box_.rows), row_at(y + box_.top)); }

    /// For the box around each pixel, the sum over the columns left of it and the sum up to its end. Their difference
    /// is the sum over the box. The zeros beyond both ends add nothing.
    struct Ends {
        std::span<const Sum> before, through;
    };
    Ends box_ends() {
        Sum sum = 0;
        auto* to = &running_[left_margin_];
        for (const Sum column : sums_) {
            *to++ = sum;
            sum += column;
        }
        std::fill(running_.begin() + (to - running_.data()), running_.end(), sum);
        return {shifted(box_.left), shifted(box_.left + box_.cols)};
    }

private:
    /// Room next to the running sums for a box that reaches `distance` columns beyond the image.
    [[nodiscard]] std::size_t margin(std::int64_t distance) const {
        return static_cast<std::size_t>(std::clamp<std::int64_t>(distance, 0, source_.width));
    }
    /// The running sums left of the columns shift, shift + 1 ... A box that lies completely outside the image has the
    /// same sum at both ends.
    [[nodiscard]] std::span<const Sum> shifted(std::int64_t shift) const {
        const std::int64_t width = source_.width, within = std::clamp(shift, -width, width);
        const auto first = static_cast<std::int64_t>(left_margin_) + within;
        return std::span(running_).subspan(static_cast<std::size_t>(first), source_.width);
    }

    /// Row `y`; zeros if the image has no such row.
    [[nodiscard]] std::span<const Sample> row_at(std::int64_t y) const {
        if (y < 0 || y >= source_.height) return no_samples_;
        return row_of<Sample>(source_, y);
    }

    void exchange(std::span<const Sample> entering, std::span<const Sample> leaving) {
        for (std::size_t x = 0; x < sums_.size(); ++x)
            sums_[x] += static_cast<Sum>(entering[x]) - static_cast<Sum>(leaving[x]);
    }

    const IplHeader& source_;
    Box box_;
    std::size_t left_margin_;
    std::vector<Sample> no_samples_;
    std::vector<Sum> sums_, running_;
};

template <class Sample, class Sum, class Mean>
void blur_integers(const IplHeader& src, const IplHeader& dst, const Box& box) {
    ColumnSums<Sample, Sum> columns(src, box);
    const Mean mean(box.cells());
    for (std::int64_t y = 0; y < src.height; ++y) {
        run_wide([&] {
            const auto [before, through] = columns.box_ends();
            const auto to = row_to_write<Sample>(dst, y);
            for (std::size_t x = 0; x < to.size(); ++x)
                to[x] = mean(static_cast<std::make_signed_t<Sum>>(through[x] - before[x]));
            columns.advance(y);
        });
    }
}

/// Float sums depend on their order, which is cell by cell and row by row. All pixels of a row add a cell together.
void blur_floats(const IplHeader& src, const IplHeader& dst, const Box& box) {
    const auto width = std::int64_t{src.width}, height = std::int64_t{src.height};
    const auto cells = static_cast<double>(box.cells());
    const std::int64_t first_dx = std::max(box.left, 1 - width), last_dx = std::min(box.left + box.cols, width) - 1;
    std::vector<double> sums(src.width);
    const Row<double> at{sums};
    for (std::int64_t y = 0; y < height; ++y) {
        std::ranges::fill(sums, 0.0);
        const std::int64_t last_row = std::min(y + box.top + box.rows, height) - 1;
        for (std::int64_t v = std::max<std::int64_t>(y + box.top, 0); v <= last_row; ++v) {
            const auto row = row_of<float>(src, v);
            for (std::int64_t dx = first_dx; dx <= last_dx; ++dx) {
                const std::int64_t last = std::min(width, width - dx);
                for (std::int64_t x = std::max<std::int64_t>(0, -dx); x < last; ++x) at[x] += double{row[x + dx]};
            }
        }
        const auto to = row_to_write<float>(dst, y);
        for (std::size_t x = 0; x < to.size(); ++x) to[x] = static_cast<float>(sums[x] / cells);
    }
}

template <class Sample>
void blur(const IplHeader& src, const IplHeader& dst, const Box& box) {
    if constexpr (std::is_floating_point_v<Sample>)
        blur_floats(src, dst, box);
    else if (box.cells() <= kFastBoxCells)
        blur_integers<Sample, std::uint32_t, RoundedMean<Sample>>(src, dst, box);
    else
        blur_integers<Sample, std::uint64_t, ExactMean<Sample>>(src, dst, box);
}

}  // namespace

void iplFixedFilter(const IplHeader* src, const IplHeader* dst, int filter) {
    run_call([&] {
        if (!are_alike(src, dst) || filter < 0 || filter >= int{kKernels.size()}) return kIplBadArgument;
        const Kernel& kernel = Row<const Kernel>(kKernels)[filter];
        return for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, std::int32_t, float>(
            src->depth, [&]<class Sample>(Sample) {
                if (is_void(*src)) return kIplOk;
                kernel.size == 3 ? convolve<Sample, 3>(*src, *dst, kernel) : convolve<Sample, 5>(*src, *dst, kernel);
                return kIplOk;
            });
    });
}

void iplBlur(const IplHeader* src, const IplHeader* dst, int cols, int rows, int anchor_x, int anchor_y) {
    run_call([&] {
        if (!are_alike(src, dst) || cols < 1 || rows < 1) return kIplBadArgument;
        const Box box{-std::int64_t{anchor_x}, cols, -std::int64_t{anchor_y}, rows};
        return for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, float>(
            src->depth, [&]<class Sample>(Sample) {
                if (is_void(*src)) return kIplOk;
                const StableSource source(*src, *dst);  // rows are read again when they leave the box
                blur<Sample>(source.header(), *dst, box);
                return kIplOk;
            });
    });
}

}  // namespace Norvane
