// SPDX-License-Identifier: Apache-2.0
/// Scaling: zoom, decimation, decimation after a box blur. The outermost row and column repeat outwards.
#include "model/wide_vectors.h"
#include "platform/raster.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace Norvane {

using namespace Platform;

namespace {

struct Ratio {
    int dst, src;  // a destination coordinate d lies at source coordinate d * src / dst
};

/// The two source rows or columns around each destination row or column, in ascending order, and the share of the
/// second.
struct Neighbours {
    std::vector<unsigned> first, second;
    std::vector<double> share;

    /// With `skips_weightless`, a second neighbour without a share is replaced by the first. For finite numbers, the
    /// interpolation is the same, and nothing more has to be read.
    Neighbours(unsigned dst_size, Ratio ratio, unsigned src_size, bool skips_weightless) {
        const unsigned last = src_size - 1;
        for (unsigned d = 0; d < dst_size; ++d) {
            const double position = 1.0 * d * ratio.src / ratio.dst;
            const double whole = std::trunc(position);
            const unsigned at = whole < last ? static_cast<unsigned>(whole) : last;
            const bool has_second = at < last && !(skips_weightless && position == whole);
            first.push_back(at);
            second.push_back(has_second ? at + 1 : at);
            share.push_back(position - whole);
        }
    }
};

double between(double a, double b, double share) { return a + (b - a) * share; }

/// Rows of the source as they are read. Beyond both ends, the outermost row repeats.
template <class Sample>
class SourceRows {
public:
    SourceRows(const IplHeader& src, const IplRowMap* row_map) : source_(src), map_(row_map) {
        if (map_ != nullptr)
            for (auto& row : mapped_) row.resize(source_.width);
    }

    [[nodiscard]] unsigned width() const { return source_.width; }
    [[nodiscard]] unsigned height() const { return source_.height; }

    /// Two rows can be held at a time, in the places 0 and 1.
    [[nodiscard]] Row<const Sample> row(std::int64_t y, std::size_t place = 0) {
        const auto row = row_of<Sample>(source_, std::clamp<std::int64_t>(y, 0, std::int64_t{source_.height} - 1));
        if constexpr (std::is_same_v<Sample, std::uint16_t>) {
            if (map_ != nullptr) {
                (*map_)(row, mapped_[place]);
                return mapped_[place];
            }
        }
        return row;
    }

private:
    const IplHeader& source_;
    const IplRowMap* map_;
    std::array<std::vector<Sample>, 2> mapped_;
};

/// Source rows without a blur.
template <class Sample>
class PlainRows {
public:
    PlainRows(SourceRows<Sample>& src, const Neighbours& cols) : source_(src), columns_(cols) {}

    /// Row `y` at the destination's columns.
    void interpolate(unsigned y, std::span<double> to) {
        const auto row = source_.row(y);
        for (std::size_t x = 0; x < to.size(); ++x)
            to[x] = between(row[columns_.first[x]], row[columns_.second[x]], columns_.share[x]);
    }

private:
    SourceRows<Sample>& source_;
    const Neighbours& columns_;
};

struct BoxSize {
    std::int64_t cols, rows;  // at least 1; the anchor is at half of each
};

/// Box means of integer samples from exact column sums. Sum is an unsigned type and wraps, but the sum over a whole box
/// fits SignedSum.
template <class Sample, class Sum, class SignedSum>
class BoxMeanRows {
public:
    BoxMeanRows(SourceRows<Sample>& src, const Neighbours& cols, BoxSize b)
        : source_(src),
          columns_(cols),
          box_(b),
          left_margin_(static_cast<std::size_t>(std::min<std::int64_t>(box_.cols / 2, kNarrow))),
          sums_(left_margin_ + source_.width() + kNarrow),
          running_(std::size_t{source_.width()} + 1),
          first_sums_(columns_.first.size()),
          second_sums_(columns_.first.size()) {}

    void interpolate(unsigned y, std::span<double> to) {
        run_wide([&] { move_to(y); });
        is_narrow() ? add_columns() : subtract_running_sums();
        run_wide([this, to, cells = static_cast<double>(box_.cols * box_.rows)] {
            for (std::size_t x = 0; x < to.size(); ++x)
                to[x] = between(static_cast<double>(first_sums_[x]) / cells,
                                static_cast<double>(second_sums_[x]) / cells, columns_.share[x]);
        });
    }

private:
    /// Boxes of up to so many columns are added up column by column. Wider ones use running sums.
    static constexpr std::int64_t kNarrow = 8;
    [[nodiscard]] bool is_narrow() const { return box_.cols <= kNarrow; }

    [[nodiscard]] std::span<Sum> own_sums() { return std::span(sums_).subspan(left_margin_, source_.width()); }

    void add_columns() {
        const auto own = own_sums();
        std::fill_n(sums_.begin(), left_margin_, own.front());
        std::ranges::fill(std::span(sums_).subspan(left_margin_ + own.size()), own.back());
        // Each box starts `cols / 2` columns left of its pixel; the margin provides them.
        run_wide([&] { std::copy_n(sums_.begin(), own.size(), running_.begin()); });
        for (std::int64_t i = 1; i < box_.cols; ++i)
            run_wide([to = running_.data(), from = sums_.data() + i, width = own.size()] {
                for (std::size_t x = 0; x < width; ++x) to[x] += from[x];
            });
        for (std::size_t x = 0; x < first_sums_.size(); ++x) {
            first_sums_[x] = static_cast<SignedSum>(running_[columns_.first[x]]);
            second_sums_[x] = static_cast<SignedSum>(running_[columns_.second[x]]);
        }
    }

    void subtract_running_sums() {
        Sum total = 0;
        const auto own = own_sums();
        for (std::size_t x = 0; x < own.size(); ++x) {
            running_[x] = total;
            total += own[x];
        }
        running_.back() = total;
        const auto sum_at = [this](std::int64_t x) {
            const std::int64_t left = x - box_.cols / 2;
            return static_cast<SignedSum>(sum_left_of(left + box_.cols) - sum_left_of(left));
        };
        for (std::size_t x = 0; x < first_sums_.size(); ++x) {
            first_sums_[x] = sum_at(columns_.first[x]);
            second_sums_[x] = sum_at(columns_.second[x]);
        }
    }

    /// The sum of the column sums from column 0 up to the left of `x`. Beyond both ends, the outermost column repeats.
    [[nodiscard]] Sum sum_left_of(std::int64_t x) {
        const std::int64_t width = source_.width();
        if (x >= 0 && x <= width) return Row<const Sum>(running_)[x];
        if (x < 0) return static_cast<Sum>(x) * own_sums().front();
        return running_.back() + static_cast<Sum>(x - width) * own_sums().back();
    }

    /// Moves the column sums to the box rows around `y`: row by row if that is less work than starting again.
    void move_to(unsigned y) {
        const std::int64_t steps = std::int64_t{y} - current_;
        if (current_ < 0 || steps < 0 || 2 * steps >= box_.rows) {
            start_at(y);
        } else {
            for (; current_ < y; ++current_) step_down();
        }
        current_ = y;
    }

    void step_down() {
        const std::int64_t first = current_ - box_.rows / 2;
        const auto leaving = source_.row(first, 0), entering = source_.row(first + box_.rows, 1);
        const auto own = own_sums();
        for (std::size_t x = 0; x < own.size(); ++x)
            own[x] += static_cast<Sum>(entering[x]) - static_cast<Sum>(leaving[x]);
    }

    void start_at(unsigned y) {
        const std::int64_t last_row = std::int64_t{source_.height()} - 1;
        const std::int64_t first = std::int64_t{y} - box_.rows / 2, last = first + box_.rows - 1;
        const std::int64_t first_inside = std::max<std::int64_t>(first, 0);
        const auto own = own_sums();
        for (std::int64_t row = first_inside; row <= std::min(last, last_row); ++row) {
            const std::int64_t above = row == 0 ? std::max<std::int64_t>(-first, 0) : 0;
            const std::int64_t below = row == last_row ? std::max<std::int64_t>(last - last_row, 0) : 0;
            const std::int64_t count = 1 + above + below;
            const auto times = static_cast<Sum>(count);
            const auto samples = source_.row(row);
            if (row == first_inside)
                for (std::size_t x = 0; x < own.size(); ++x) own[x] = static_cast<Sum>(samples[x]) * times;
            else
                for (std::size_t x = 0; x < own.size(); ++x) own[x] += static_cast<Sum>(samples[x]) * times;
        }
    }

    SourceRows<Sample>& source_;
    const Neighbours& columns_;
    BoxSize box_;
    std::int64_t current_ = -1;  // the row whose box the column sums cover
    std::size_t left_margin_;
    std::vector<Sum> sums_;                            // with room for a narrow box that reaches beyond the image
    std::vector<Sum> running_;                         // for narrow boxes, the sums themselves
    std::vector<SignedSum> first_sums_, second_sums_;  // of the boxes around the two neighbours of a row
};

/// Box means of floats. Their sums depend on the order, which is cell by cell and row by row, in double.
class FloatBoxMeanRows {
public:
    FloatBoxMeanRows(SourceRows<float>& src, const Neighbours& cols, BoxSize b)
        : source_(src), columns_(cols), box_(b) {}

    void interpolate(unsigned y, std::span<double> to) {
        for (std::size_t x = 0; x < to.size(); ++x) {
            to[x] = between(mean(columns_.first[x], y), mean(columns_.second[x], y), columns_.share[x]);
        }
    }

private:
    [[nodiscard]] double mean(unsigned x, unsigned y) {
        const std::int64_t left = std::int64_t{x} - box_.cols / 2, top = std::int64_t{y} - box_.rows / 2;
        double sum = 0.0;
        for (std::int64_t v = top; v < top + box_.rows; ++v) {
            const auto row = source_.row(v);
            for (std::int64_t u = left; u < left + box_.cols; ++u)
                sum += double{row[std::clamp<std::int64_t>(u, 0, source_.width() - 1)]};
        }
        return sum / static_cast<double>(box_.cols * box_.rows);
    }

    SourceRows<float>& source_;
    const Neighbours& columns_;
    BoxSize box_;
};

/// Keeps the two source rows that were interpolated last. The lower one is often the next upper one, and an enlarged
/// image needs the same two many times. Rows must be asked for in ascending order.
template <class Rows>
class RecentRows {
public:
    RecentRows(Rows& r, std::size_t width) : rows_(r) {
        for (Slot& slot : slots_) slot.pixels.resize(width);
    }

    std::span<const double> row(unsigned y) {
        for (Slot& slot : slots_)
            if (slot.y == y) return slot.pixels;
        Slot& oldest = slots_[0].y < slots_[1].y ? slots_[0] : slots_[1];
        oldest.y = y;
        rows_.interpolate(y, oldest.pixels);
        return oldest.pixels;
    }

private:
    struct Slot {
        std::int64_t y = -1;
        std::vector<double> pixels;
    };
    Rows& rows_;
    std::array<Slot, 2> slots_;
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
void scale(Rows rows, const Neighbours& down, const IplHeader& dst) {
    RecentRows<Rows> recent(rows, dst.width);
    for (std::size_t y = 0; y < dst.height; ++y) {
        const auto upper = recent.row(down.first[y]), lower = recent.row(down.second[y]);
        run_wide([upper, lower, share = down.share[y], to = row_to_write<Sample>(dst, y)] {
            for (std::size_t x = 0; x < to.size(); ++x) to[x] = to_sample<Sample>(between(upper[x], lower[x], share));
        });
    }
}

/// Up to this many cells a box sum of 16-bit samples fits 31 bits.
constexpr std::int64_t kCellsIn32Bits = 32768;

template <class Sample>
void scale_blurred(SourceRows<Sample>& src, const Neighbours& across, const Neighbours& down, BoxSize box,
                   const IplHeader& dst) {
    if constexpr (std::is_floating_point_v<Sample>)
        scale<Sample>(FloatBoxMeanRows(src, across, box), down, dst);
    else if (box.cols * box.rows <= kCellsIn32Bits)
        scale<Sample>(BoxMeanRows<Sample, std::uint32_t, std::int32_t>(src, across, box), down, dst);
    else  // a box size may be any int, and its square times 65535 exceeds 64 bits
        scale<Sample>(BoxMeanRows<Sample, unsigned __int128, __int128>(src, across, box), down, dst);
}

struct Scaling {
    Ratio x, y;
    std::optional<BoxSize> blur;
};

void scale_image(const IplHeader* src, const IplHeader* dst, const Scaling& scaling, int interpolation,
                 const IplRowMap* row_map = nullptr) {
    run_call([&] {
        const auto& [x_ratio, y_ratio, blur] = scaling;
        if (!is_described(src) || !is_described(dst) || src->depth != dst->depth || interpolation != 1 ||
            std::min({x_ratio.dst, x_ratio.src, y_ratio.dst, y_ratio.src}) < 1)
            return kIplBadArgument;
        if (is_void(*src)) return kIplBadArgument;  // nothing to repeat outwards
        if (row_map != nullptr && src->depth != kIplDepth16U) return kIplUnsupported;
        return for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, float>(
            src->depth, [&, &ratio_across = x_ratio, &ratio_down = y_ratio, &box = blur]<class Sample>(Sample) {
                if (is_void(*dst)) return kIplOk;
                const StableSource source(*src, *dst);
                SourceRows<Sample> rows(source.header(), row_map);
                constexpr bool kIsFinite = std::is_integral_v<Sample>;
                const Neighbours across(dst->width, ratio_across, src->width, kIsFinite);
                const Neighbours down(dst->height, ratio_down, src->height, kIsFinite);
                // The mean of one sample is the sample, except for a negative zero.
                if (!box || (std::is_integral_v<Sample> && box->cols * box->rows == 1))
                    scale<Sample>(PlainRows<Sample>(rows, across), down, *dst);
                else
                    scale_blurred<Sample>(rows, across, down, *box, *dst);
                return kIplOk;
            });
    });
}

}  // namespace

void iplZoom(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
             int interpolation) {
    scale_image(src, dst, {{x_dst, x_src}, {y_dst, y_src}, std::nullopt}, interpolation);
}

void iplDecimate(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
                 int interpolation) {
    scale_image(src, dst, {{x_dst, x_src}, {y_dst, y_src}, std::nullopt}, interpolation);
}

void iplDecimateBlur(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
                     int interpolation, int x_mask, int y_mask, const IplRowMap* row_map) {
    const BoxSize box{std::max(x_mask, 1), std::max(y_mask, 1)};
    scale_image(src, dst, {{x_dst, x_src}, {y_dst, y_src}, box}, interpolation, row_map);
}

}  // namespace Norvane
