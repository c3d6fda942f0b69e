// SPDX-License-Identifier: Apache-2.0
/// Convolution with the predefined kernels, and the box blur. Zeros lie outside the image.
#include "platform/raster.h"

#include <algorithm>
#include <array>

namespace Norvane {

using namespace Platform;

namespace {

struct Kernel {
    int size;  // cells a side, 3 or 5
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

/// The source rows that a kernel of Size x Size cells meets, widened, with zeros on all four sides.
template <class Sample, std::size_t Size>
class KernelRows {
public:
    using Sum = KernelSum<Sample>;
    static constexpr std::size_t kReach = Size / 2;

    explicit KernelRows(const IplHeader& src) : source(src) {
        for (auto& row : rows) row.assign(source.width + 2 * kReach, Sum{0});
        for (std::size_t y = 0; y < kReach && y < source.height; ++y) load(y);
    }

    /// Adds up kernel cells times source pixels for row `y`; rows must be asked for in ascending order from 0. The
    /// kernel is turned by 180 degrees, and its products are added row by row over its cells: floats depend on the
    /// order.
    void convolve(std::size_t y, const std::array<Sum, Size * Size>& cells, std::vector<Sum>& sums) {
        if (y + kReach < source.height)
            load(y + kReach);
        else
            std::ranges::fill(row_for(y + kReach), Sum{0});
        std::array<std::span<const Sum>, Size> met;  // by kernel row
        for (std::size_t j = 0; j < Size; ++j) met[j] = row_for(y + Size - 1 - j - kReach);
        for (std::size_t x = 0; x < sums.size(); ++x) {
            Sum sum = 0;
            for (std::size_t j = 0; j < Size; ++j)
                for (std::size_t i = 0; i < Size; ++i) sum += cells[j * Size + i] * met[j][x + Size - 1 - i];
            sums[x] = sum;
        }
    }

private:
    /// The slot of row `y`, which may be up to kReach above the first: -1 has wrapped, and adding Size brings it back.
    std::span<Sum> row_for(std::size_t y) { return rows[(y + Size) % Size]; }

    void load(std::size_t y) {
        const auto from = row_of<Sample>(source, y);
        const auto to = row_for(y).subspan(kReach);
        // NOLINTNEXTLINE(bugprone-signed-char-misuse): 8-bit samples are numbers here, not characters
        for (std::size_t x = 0; x < from.size(); ++x) to[x] = static_cast<Sum>(from[x]);
    }

    const IplHeader& source;
    std::array<std::vector<Sum>, Size> rows;
};

template <class Sample>
void write_quotients(std::span<const KernelSum<Sample>> sums, int divisor, std::span<Sample> to) {
    for (std::size_t x = 0; x < to.size(); ++x) {
        if constexpr (std::is_floating_point_v<Sample>)
            to[x] = static_cast<Sample>(sums[x] / static_cast<double>(divisor));
        else
            to[x] = saturate<Sample>(divisor == 1 ? std::int64_t{sums[x]} : divide_half_up(sums[x], divisor));
    }
}

template <class Sample, std::size_t Size>
void convolve(const IplHeader& src, const IplHeader& dst, const Kernel& kernel) {
    using Sum = KernelSum<Sample>;
    std::array<Sum, Size * Size> cells;
    for (std::size_t i = 0; i < cells.size(); ++i) cells[i] = static_cast<Sum>(kernel.cells[i]);
    KernelRows<Sample, Size> rows(src);
    std::vector<Sum> sums(src.width);
    for (std::size_t y = 0; y < src.height; ++y) {  // reads a row before it is written, so both may be one image
        rows.convolve(y, cells, sums);
        write_quotients<Sample>(sums, kernel.divisor, row_to_write<Sample>(dst, y));
    }
}

/// A box of pixels around one pixel: columns x + left .. x + left + cols - 1, rows likewise.
struct Box {
    std::int64_t left, cols, top, rows;
    [[nodiscard]] std::int64_t cells() const { return cols * rows; }
};

/// Means of sums over n <= kFastBoxCells samples of at most 16 bits, without a division.
///
/// floor(s / n + 1/2) is floor((2 s + n) / 2 n), and half a unit added to that numerator keeps the quotient at least
/// 1 / 4 n away from every integer. The product with the rounded reciprocal errs by less than 2^-36, so that truncation
/// gives the exact floor. Signed samples are shifted to be positive first.
constexpr std::int64_t kFastBoxCells = 32768;  // 65535 times this fits 31 bits

template <class Sample>
class RoundedMean {
public:
    explicit RoundedMean(std::int64_t n)
        : offset(static_cast<double>((2 * kShift + 1) * n) + 0.5), reciprocal(1.0 / static_cast<double>(2 * n)) {}
    [[nodiscard]] Sample operator()(std::int32_t sum) const {
        return static_cast<Sample>(static_cast<std::int32_t>((2.0 * sum + offset) * reciprocal) - kShift);
    }

private:
    static constexpr std::int32_t kShift = -std::int32_t{std::numeric_limits<Sample>::min()};
    double offset, reciprocal;
};

template <class Sample>
class ExactMean {
public:
    explicit ExactMean(std::int64_t n) : cells(n) {}
    [[nodiscard]] Sample operator()(std::int64_t sum) const { return static_cast<Sample>(divide_half_up(sum, cells)); }

private:
    std::int64_t cells;
};

/// to[x] = running[x + shift], where running repeats its first value to the left and its last to the right.
template <class Sum>
void copy_shifted(std::span<const Sum> running, std::int64_t shift, std::span<Sum> to) {
    const auto width = static_cast<std::int64_t>(to.size());
    const std::int64_t before = std::clamp(-shift, std::int64_t{0}, width);
    const std::int64_t inside = std::clamp(width - shift, before, width);
    std::fill(to.begin(), to.begin() + before, running.front());
    if (inside > before) std::copy_n(running.begin() + (before + shift), inside - before, to.begin() + before);
    std::fill(to.begin() + inside, to.end(), running.back());
}

/// Sums of the columns over the rows of the box, kept up to date from row to row. The arithmetic is modulo 2^32 or
/// 2^64; the sums over a whole box fit, so their differences are exact.
template <class Sample, class Sum>
class ColumnSums {
public:
    ColumnSums(const IplHeader& src, const Box& b) : source(src), box(b), sums(src.width), running(src.width + 1) {
        const std::int64_t last = std::min<std::int64_t>(box.top + box.rows, source.height) - 1;
        for (std::int64_t y = std::max<std::int64_t>(box.top, 0); y <= last; ++y) add(y);
    }

    /// From the rows around `y` to the rows around y + 1.
    void advance(std::int64_t y) {
        if (is_row(y + box.top + box.rows)) add(y + box.top + box.rows);
        if (!is_row(y + box.top)) return;
        const auto row = row_of<Sample>(source, static_cast<std::size_t>(y + box.top));
        for (std::size_t x = 0; x < row.size(); ++x) sums[x] -= static_cast<Sum>(row[x]);
    }

    /// running_sums()[x]: the sum of the columns left of x.
    std::span<const Sum> running_sums() {
        Sum sum = 0;
        for (std::size_t x = 0; x < sums.size(); ++x) {
            running[x] = sum;
            sum += sums[x];
        }
        running.back() = sum;
        return running;
    }

private:
    [[nodiscard]] bool is_row(std::int64_t y) const { return y >= 0 && y < source.height; }

    void add(std::int64_t y) {
        const auto row = row_of<Sample>(source, static_cast<std::size_t>(y));
        for (std::size_t x = 0; x < row.size(); ++x) sums[x] += static_cast<Sum>(row[x]);
    }

    const IplHeader& source;
    Box box;
    std::vector<Sum> sums, running;
};

template <class Sample, class Sum, class Mean>
void blur_integers(const IplHeader& src, const IplHeader& dst, const Box& box) {
    ColumnSums<Sample, Sum> columns(src, box);
    std::vector<Sum> before(src.width), through(src.width);
    const Mean mean(box.cells());
    for (std::size_t y = 0; y < src.height; ++y) {
        const auto running = columns.running_sums();
        copy_shifted<Sum>(running, box.left, before);
        copy_shifted<Sum>(running, box.left + box.cols, through);
        const auto to = row_to_write<Sample>(dst, y);
        for (std::size_t x = 0; x < to.size(); ++x)
            to[x] = mean(static_cast<std::make_signed_t<Sum>>(through[x] - before[x]));
        columns.advance(static_cast<std::int64_t>(y));
    }
}

/// Floats depend on the order of their sums: cell by cell, row by row. All pixels of a row take a cell together.
void blur_floats(const IplHeader& src, const IplHeader& dst, const Box& box) {
    const auto width = static_cast<std::int64_t>(src.width), height = static_cast<std::int64_t>(src.height);
    const auto cells = static_cast<double>(box.cells());
    const std::int64_t first_dx = std::max(box.left, 1 - width), last_dx = std::min(box.left + box.cols, width) - 1;
    std::vector<double> sums(src.width);
    for (std::int64_t y = 0; y < height; ++y) {
        std::ranges::fill(sums, 0.0);
        const std::int64_t last_row = std::min(y + box.top + box.rows, height) - 1;
        for (std::int64_t v = std::max<std::int64_t>(y + box.top, 0); v <= last_row; ++v) {
            const auto row = row_of<float>(src, static_cast<std::size_t>(v));
            for (std::int64_t dx = first_dx; dx <= last_dx; ++dx) {
                const std::int64_t last = std::min(width, width - dx);
                for (std::int64_t x = std::max<std::int64_t>(0, -dx); x < last; ++x)
                    sums[static_cast<std::size_t>(x)] += static_cast<double>(row[static_cast<std::size_t>(x + dx)]);
            }
        }
        const auto to = row_to_write<float>(dst, static_cast<std::size_t>(y));
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
        if (!are_alike(src, dst) || filter < 0 || filter >= static_cast<int>(kKernels.size())) return kIplBadArgument;
        const Kernel& kernel = kKernels[static_cast<std::size_t>(filter)];
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
