// SPDX-License-Identifier: Apache-2.0
/// Dilation and erosion. Applying a 3 x 3 square n times equals applying a (2 n + 1) x (2 n + 1) square once, and a
/// square is a row pass followed by a column pass. Each pass takes about log2(2 n + 1) steps: it doubles the window
/// that a cell covers until the next doubling would exceed the wanted window, and then joins two windows that overlap.
#include "platform/bit_rows.h"
#include "platform/raster.h"

#include <algorithm>

namespace Norvane {

using namespace Platform;

namespace {

using BitRows::Word;

struct Largest {
    template <class Cell>
    Cell operator()(Cell a, Cell b) const {
        return std::max(a, b);
    }
    Word operator()(Word a, Word b) const { return a | b; }
};
struct Smallest {
    template <class Cell>
    Cell operator()(Cell a, Cell b) const {
        return std::min(a, b);
    }
    Word operator()(Word a, Word b) const { return a & b; }
};

/// Rows of cells in one block: grey samples, or words of 64 pixels.
template <class Cell>
class Plane {
public:
    Plane(std::size_t row_cells, std::size_t row_count) : cells_(row_cells), block_(row_cells * row_count) {}
    [[nodiscard]] std::span<Cell> row(std::size_t y) { return std::span(block_).subspan(y * cells_, cells_); }

private:
    std::size_t cells_;
    std::vector<Cell> block_;
};

/// Replaces each of the rows 0 .. height - 1 of the plane by the combination of `window` rows that start with it. The
/// plane must have enough rows below.
template <class Cell, class Combine>
void combine_columns(Plane<Cell>& plane, std::size_t height, std::size_t window, Combine combine) {
    const auto join = [&](std::size_t y, std::size_t other) {
        std::ranges::transform(plane.row(y), plane.row(other), plane.row(y).begin(), combine);
    };
    std::size_t rows = height + window - 1;
    std::size_t reach = 1;
    for (; 2 * reach <= window; reach *= 2) {
        rows -= reach;
        for (std::size_t y = 0; y < rows; ++y) join(y, y + reach);
    }
    if (reach == window) return;
    for (std::size_t y = 0; y < height; ++y) join(y, y + window - reach);
}

/// A row of grey samples with `margin` zeros on both sides.
template <class Sample>
class GreyLine {
public:
    using Cell = Sample;
    static std::size_t cells_for(std::size_t width) { return width; }

    GreyLine(std::size_t width, std::size_t reach) : margin_(reach), line_(width + 2 * reach) {}

    /// to[x]: the combination of the samples x - margin .. x + margin of `row`.
    template <class Combine>
    void combine_row(std::span<const Sample> row, std::span<Cell> to, Combine combine) {
        std::ranges::fill(line_, Sample{0});
        std::ranges::copy(row, std::span(line_).subspan(margin_).begin());
        const std::size_t window = 2 * margin_ + 1;
        std::size_t reach = 1;
        for (; 2 * reach <= window; reach *= 2)
            for (std::size_t x = 0; x + reach < line_.size(); ++x) line_[x] = combine(line_[x], line_[x + reach]);
        for (std::size_t x = 0; x < to.size(); ++x) to[x] = combine(line_[x], line_[x + window - reach]);
    }

    static void write(std::span<const Cell> cells, std::span<Sample> row) { std::ranges::copy(cells, row.begin()); }

private:
    std::size_t margin_;
    std::vector<Sample> line_;
};

/// The same for a row of 1-bit pixels. The margin on the left consists of whole words, so the row need not be shifted.
class BitLine {
public:
    using Cell = Word;
    static std::size_t cells_for(std::size_t width_) { return BitRows::words_for(width_); }

    BitLine(std::size_t row_width, std::size_t reach)
        : width_(row_width),
          margin_(reach),
          margin_words_(BitRows::words_for(reach)),
          line_(margin_words_ + BitRows::words_for(row_width)) {}

    template <class Combine>
    void combine_row(std::span<const unsigned char> row, std::span<Cell> to, Combine combine) {
        std::ranges::fill(line_, Word{0});
        const auto pixels = std::span(line_).subspan(margin_words_);
        BitRows::load(row, pixels);
        BitRows::keep_only(pixels, 0, width_);
        const std::size_t window = 2 * margin_ + 1;
        std::size_t reach = 1;
        for (; 2 * reach <= window; reach *= 2)
            for (std::size_t i = 0; i < line_.size(); ++i)
                line_[i] = combine(line_[i], BitRows::pixels_from(line_, i * BitRows::kWordPixels + reach));
        const std::size_t first = margin_words_ * BitRows::kWordPixels - margin_;
        for (std::size_t i = 0; i < to.size(); ++i) {
            const std::size_t at = first + i * BitRows::kWordPixels;
            to[i] = combine(BitRows::pixels_from(line_, at), BitRows::pixels_from(line_, at + window - reach));
        }
    }

    /// Bits of the last byte after the last pixel stay unchanged.
    void write(std::span<const Cell> cells, std::span<unsigned char> row) const {
        const unsigned char last = row.back();
        BitRows::store(cells, row);
        if (width_ % 8 == 0) return;
        const auto ours = static_cast<unsigned char>(0xFF00U >> (width_ % 8));
        row.back() = static_cast<unsigned char>((row.back() & ours) | (last & ~ours));
    }

private:
    std::size_t width_, margin_, margin_words_;
    std::vector<Word> line_;
};

/// Reads the whole source before it writes, so both may be the same image.
template <class Line, class Sample, class Combine>
int combine_squares(const IplHeader& src, const IplHeader& dst, int iterations, Combine combine) {
    const auto n = static_cast<std::size_t>(iterations);
    const std::size_t reach_x = std::min<std::size_t>(n, src.width);  // a window beyond both borders covers all
    const std::size_t reach_y = std::min<std::size_t>(n, src.height);
    Plane<typename Line::Cell> plane(Line::cells_for(src.width), src.height + 2 * reach_y);
    Line line(src.width, reach_x);
    for (std::size_t y = 0; y < src.height; ++y)
        line.combine_row(row_of<Sample>(src, y), plane.row(y + reach_y), combine);
    combine_columns(plane, src.height, 2 * reach_y + 1, combine);
    for (std::size_t y = 0; y < src.height; ++y) line.write(plane.row(y), row_to_write<Sample>(dst, y));
    return kIplOk;
}

template <class Combine>
void morphology(const IplHeader* src, const IplHeader* dst, int iterations, Combine combine) {
    run_call([&] {
        if (!are_alike(src, dst) || iterations < 1) return kIplBadArgument;
        if (src->depth == kIplDepth1U) {
            if (is_void(*src)) return kIplOk;
            return combine_squares<BitLine, unsigned char>(*src, *dst, iterations, combine);
        }
        return for_depth<std::uint8_t, std::uint16_t>(src->depth, [&]<class Sample>(Sample) {
            if (is_void(*src)) return kIplOk;
            return combine_squares<GreyLine<Sample>, Sample>(*src, *dst, iterations, combine);
        });
    });
}

}  // namespace

void iplDilate(const IplHeader* src, const IplHeader* dst, int iterations) {
    morphology(src, dst, iterations, Largest{});
}

void iplErode(const IplHeader* src, const IplHeader* dst, int iterations) {
    morphology(src, dst, iterations, Smallest{});
}

}  // namespace Norvane
