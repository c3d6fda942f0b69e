// SPDX-License-Identifier: Apache-2.0
/// Scaling: zoom, decimation, decimation after a box blur. The outermost row and column repeat outwards.
#include "platform/raster.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Norvane {

using namespace Platform;

namespace {

struct Ratio {
    int dst, src;  // a destination coordinate d lies at source coordinate d * src / dst
};

/// The two source rows or columns around a position, and the share of the second.
struct Neighbours {
    unsigned first, second;
    double share;
};

/// The neighbours of every destination row or column, in ascending order.
std::vector<Neighbours> neighbours_of(unsigned dst_size, Ratio ratio, unsigned src_size) {
    std::vector<Neighbours> neighbours(dst_size);
    const unsigned last = src_size - 1;
    for (unsigned d = 0; d < dst_size; ++d) {
        const double position = static_cast<double>(d) * ratio.src / ratio.dst;
        const double whole = std::trunc(position);
        const unsigned first = whole < static_cast<double>(last) ? static_cast<unsigned>(whole) : last;
        neighbours[d] = {first, first < last ? first + 1 : last, position - whole};
    }
    return neighbours;
}

double between(double a, double b, double share) { return a + (b - a) * share; }

/// Source rows as they are.
template <class Sample>
class PlainRows {
public:
    PlainRows(const IplHeader& src, std::span<const Neighbours> cols) : source(src), columns(cols) {}

    /// Row `y` at the destination's columns.
    void interpolate(unsigned y, std::span<double> to) {
        const auto row = row_of<Sample>(source, y);
        for (std::size_t x = 0; x < to.size(); ++x) {
            const Neighbours& at = columns[x];
            to[x] = between(static_cast<double>(row[at.first]), static_cast<double>(row[at.second]), at.share);
        }
    }

private:
    const IplHeader& source;
    std::span<const Neighbours> columns;
};

struct BoxSize {
    std::int64_t cols, rows;  // at least 1; the anchor is at half of each
};

/// Box means of integer samples from running sums, which are exact. Sum is an unsigned type and wraps; the sum over a
/// whole box fits its signed twin, so differences of running sums are right.
template <class Sample, class Sum, class SignedSum>
class BoxMeanRows {
public:
    BoxMeanRows(const IplHeader& src, std::span<const Neighbours> cols, BoxSize b)
        : source(src),
          columns(cols),
          box(b),
          cells(static_cast<double>(box.cols * box.rows)),
          sums(src.width),
          running(std::size_t{src.width} + 1) {}

    void interpolate(unsigned y, std::span<double> to) {
        move_to(y);
        Sum sum = 0;
        for (std::size_t x = 0; x < sums.size(); ++x) {
            running[x] = sum;
            sum += sums[x];
        }
        running.back() = sum;
        for (std::size_t x = 0; x < to.size(); ++x) {
            const Neighbours& at = columns[x];
            to[x] = between(mean(at.first), mean(at.second), at.share);
        }
    }

private:
    [[nodiscard]] double mean(unsigned x) const {
        const std::int64_t first = std::int64_t{x} - box.cols / 2;
        const Sum sum = sum_left_of(first + box.cols) - sum_left_of(first);
        return static_cast<double>(static_cast<SignedSum>(sum)) / cells;
    }

    /// The column sums left of `x`, from column 0 on; beyond both ends the outermost repeats.
    [[nodiscard]] Sum sum_left_of(std::int64_t x) const {
        const std::int64_t width = source.width;
        if (x >= 0 && x <= width) return running[static_cast<std::size_t>(x)];
        if (x < 0) return static_cast<Sum>(x) * sums.front();
        return running.back() + static_cast<Sum>(x - width) * sums.back();
    }

    [[nodiscard]] std::span<const Sample> row_at(std::int64_t y) const {
        return row_of<Sample>(source, static_cast<std::size_t>(std::clamp<std::int64_t>(y, 0, source.height - 1)));
    }

    /// Brings the column sums to the box rows around `y`, row by row where that is less work than to start anew.
    void move_to(unsigned y) {
        const std::int64_t steps = std::int64_t{y} - current;
        if (current < 0 || steps < 0 || 2 * steps >= box.rows) {
            start_at(y);
        } else {
            for (; current < y; ++current) step_down();
        }
        current = y;
    }

    void step_down() {
        const std::int64_t first = current - box.rows / 2;
        const auto leaving = row_at(first), entering = row_at(first + box.rows);
        for (std::size_t x = 0; x < sums.size(); ++x)
            sums[x] += static_cast<Sum>(entering[x]) - static_cast<Sum>(leaving[x]);
    }

    void start_at(unsigned y) {
        const std::int64_t last_row = std::int64_t{source.height} - 1;
        const std::int64_t first = std::int64_t{y} - box.rows / 2, last = first + box.rows - 1;
        std::ranges::fill(sums, Sum{0});
        for (std::int64_t row = std::max<std::int64_t>(first, 0); row <= std::min(last, last_row); ++row) {
            const std::int64_t above = row == 0 ? std::max<std::int64_t>(-first, 0) : 0;
            const std::int64_t below = row == last_row ? std::max<std::int64_t>(last - last_row, 0) : 0;
            add(row_at(row), 1 + above + below);
        }
    }

    void add(std::span<const Sample> row, std::int64_t times) {
        if (times == 1)
            for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += static_cast<Sum>(row[x]);
        else
            for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += static_cast<Sum>(row[x]) * static_cast<Sum>(times);
    }

    const IplHeader& source;
    std::span<const Neighbours> columns;
    BoxSize box;
    double cells;
    std::int64_t current = -1;  // the row whose box the column sums cover
    std::vector<Sum> sums, running;
};

/// Box means of floats, whose sums depend on their order: cell by cell, row by row, in double.
class FloatBoxMeanRows {
public:
    FloatBoxMeanRows(const IplHeader& src, std::span<const Neighbours> cols, BoxSize b)
        : source(src), columns(cols), box(b) {}

    void interpolate(unsigned y, std::span<double> to) {
        for (std::size_t x = 0; x < to.size(); ++x) {
            const Neighbours& at = columns[x];
            to[x] = between(mean(at.first, y), mean(at.second, y), at.share);
        }
    }

private:
    [[nodiscard]] double mean(unsigned x, unsigned y) const {
        const std::int64_t left = std::int64_t{x} - box.cols / 2, top = std::int64_t{y} - box.rows / 2;
        double sum = 0.0;
        for (std::int64_t v = top; v < top + box.rows; ++v) {
            const auto row =
                row_of<float>(source, static_cast<std::size_t>(std::clamp<std::int64_t>(v, 0, source.height - 1)));
            for (std::int64_t u = left; u < left + box.cols; ++u)
                sum += static_cast<double>(
                    row[static_cast<std::size_t>(std::clamp<std::int64_t>(u, 0, source.width - 1))]);
        }
        return sum / static_cast<double>(box.cols * box.rows);
    }

    const IplHeader& source;
    std::span<const Neighbours> columns;
    BoxSize box;
};

/// The two source rows last interpolated: the lower one is often the next upper one, and an enlarged image asks for the
/// same two many times. Rows are asked for in ascending order.
template <class Rows>
class RecentRows {
public:
    RecentRows(Rows& r, std::size_t width) : rows(r) {
        for (Slot& slot : slots) slot.pixels.resize(width);
    }

    std::span<const double> row(unsigned y) {
        for (Slot& slot : slots)
            if (slot.y == y) return slot.pixels;
        Slot& oldest = slots[0].y < slots[1].y ? slots[0] : slots[1];
        oldest.y = y;
        rows.interpolate(y, oldest.pixels);
        return oldest.pixels;
    }

private:
    struct Slot {
        std::int64_t y = -1;
        std::vector<double> pixels;
    };
    Rows& rows;
    std::array<Slot, 2> slots;
};

template <class Sample>
Sample to_sample(double v) {
    if constexpr (std::is_floating_point_v<Sample>)
        return static_cast<Sample>(v);
    else if constexpr (std::is_unsigned_v<Sample>)
        // v lies between samples, so truncation is floor.
        return static_cast<Sample>(static_cast<std::int32_t>(v + 0.5));  // NOLINT(bugprone-incorrect-roundings)
    else
        return static_cast<Sample>(std::floor(v + 0.5));
}

template <class Sample, class Rows>
void scale(Rows rows, std::span<const Neighbours> down, const IplHeader& dst) {
    RecentRows<Rows> recent(rows, dst.width);
    for (std::size_t y = 0; y < dst.height; ++y) {
        const auto upper = recent.row(down[y].first), lower = recent.row(down[y].second);
        const double share = down[y].share;
        const auto to = row_to_write<Sample>(dst, y);
        for (std::size_t x = 0; x < to.size(); ++x) to[x] = to_sample<Sample>(between(upper[x], lower[x], share));
    }
}

/// Up to this many cells a box sum of 16-bit samples fits 31 bits.
constexpr std::int64_t kCellsIn32Bits = 32768;

template <class Sample>
void scale_blurred(const IplHeader& src, std::span<const Neighbours> across, std::span<const Neighbours> down,
                   BoxSize box, const IplHeader& dst) {
    if constexpr (std::is_floating_point_v<Sample>)
        scale<Sample>(FloatBoxMeanRows(src, across, box), down, dst);
    else if (box.cols * box.rows <= kCellsIn32Bits)
        scale<Sample>(BoxMeanRows<Sample, std::uint32_t, std::int32_t>(src, across, box), down, dst);
    else  // a mask size may be any int, and its square times 65535 exceeds 64 bits
        scale<Sample>(BoxMeanRows<Sample, unsigned __int128, __int128>(src, across, box), down, dst);
}

void scale_image(const IplHeader* src, const IplHeader* dst, Ratio x_ratio, Ratio y_ratio, int interpolation,
                 BoxSize box) {
    run_call([&] {
        if (!is_described(src) || !is_described(dst) || src->depth != dst->depth || interpolation != 1 ||
            std::min({x_ratio.dst, x_ratio.src, y_ratio.dst, y_ratio.src}) < 1)
            return kIplBadArgument;
        if (is_void(*src)) return kIplBadArgument;  // nothing to repeat outwards
        return for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, float>(
            src->depth, [&]<class Sample>(Sample) {
                if (is_void(*dst)) return kIplOk;
                const StableSource source(*src, *dst);
                const auto across = neighbours_of(dst->width, x_ratio, src->width);
                const auto down = neighbours_of(dst->height, y_ratio, src->height);
                if (box.cols * box.rows == 1)
                    scale<Sample>(PlainRows<Sample>(source.header(), across), down, *dst);
                else
                    scale_blurred<Sample>(source.header(), across, down, box, *dst);
                return kIplOk;
            });
    });
}

}  // namespace

void iplZoom(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
             int interpolation) {
    scale_image(src, dst, {x_dst, x_src}, {y_dst, y_src}, interpolation, {1, 1});
}

void iplDecimate(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
                 int interpolation) {
    scale_image(src, dst, {x_dst, x_src}, {y_dst, y_src}, interpolation, {1, 1});
}

void iplDecimateBlur(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
                     int interpolation, int x_mask, int y_mask) {
    scale_image(src, dst, {x_dst, x_src}, {y_dst, y_src}, interpolation, {std::max(x_mask, 1), std::max(y_mask, 1)});
}

}  // namespace Norvane
