// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_edges.h"

#include <norvane/pect_detect.h>

#include "imaging/filter.h"
#include "imaging/ipl_bridge.h"
#include "model/grey_statistics.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/wide_vectors.h"
#include "model/working_image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numbers>
#include <optional>
#include <span>

namespace Norvane {
namespace {

constexpr int kEdgeMargin = 5;  // pixels: more than half a kernel
constexpr int kHalfX = PectDetect::C_XKERNELSIZE / 2;
constexpr int kHalfY = PectDetect::C_YKERNELSIZE / 2;
constexpr int kSteepestAngle = 89;  // degrees; the tangent of the limits must stay finite

using Span = Interval<std::int64_t>;  // columns of a region's row; a mask may begin left of the region

/// From the first to the last pixel of a mask row, including gaps, in columns of the region.
Span span_in_region(std::span<const Run> runs, const Image& roi) {
    const std::int64_t offset = roi.GetOffX();
    return {runs.front().first - offset, runs.back().last - offset};
}

/// Gradients are computed for this many neighbouring pixels at once. Each pixel has its own sums, so every sum keeps
/// its order while the compiler uses whole vector registers.
constexpr std::size_t kLanes = 16;

struct Gradients {
    std::array<float, kLanes> gx{};
    std::array<float, kLanes> gy{};
};

/// The region's rows under the kernel as floats, with zeros around the region. A zero adds nothing to a sum, so the
/// window needs no clipping.
class KernelWindow {
public:
    explicit KernelWindow(const Image& source)
        : roi_(source), padded_width_(source.GetWidth() + 2 * kHalfX + kLanes), rows_(padded_width_ * kRows) {}

    /// Centres the window on `y`. This is cheapest if y grows by one.
    void move_to(std::int64_t y) {
        for (std::int64_t r = std::max(y - kHalfY, loaded_end_); r <= y + kHalfY; ++r) load(r);
        loaded_end_ = y + kHalfY + 1;
        for (std::int64_t r = y - kHalfY; auto& row : window_) row = slot(r++);
    }

    /// Weighted sums at the columns x .. x + kLanes - 1 of the centre row: window rows from the top, columns from the
    /// left, one single-precision product and one sum after the other. `kernel` holds x and y weight of each cell.
    [[nodiscard]] Gradients gradients_from(std::size_t x, std::span<const float> kernel) const {
        Gradients sums;
        for (std::size_t r = 0; r < kRows; ++r) {
            const auto pixels = window_[r].subspan(x).first<kColumns - 1 + kLanes>();
            const auto weights = kernel.subspan(r * 2 * kColumns).first<2 * kColumns>();
            if (r == kHalfY)
                add_row<true>(pixels, weights, sums);
            else
                add_row<false>(pixels, weights, sums);
        }
        return sums;
    }

private:
    static constexpr int kRows = 2 * kHalfY + 1;
    static constexpr std::size_t kColumns = 2 * kHalfX + 1;

    /// The loop over the lanes is vectorised. The cells of the row are unrolled and keep their order inside each lane.
    /// The weights of x in the middle column and of y in the middle row are zero and are left out.
    template <bool IsMiddle>
    static void add_row(std::span<const float, kColumns - 1 + kLanes> pixels,
                        std::span<const float, 2 * kColumns> weights, Gradients& sums) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            float gx = sums.gx[lane], gy = sums.gy[lane];
            for (std::size_t column = 0; column < kColumns; ++column) {
                if (column != kHalfX) gx += pixels[lane + column] * weights[2 * column];
                if (!IsMiddle) gy += pixels[lane + column] * weights[2 * column + 1];
            }
            sums.gx[lane] = gx;
            sums.gy[lane] = gy;
        }
    }

    std::span<float> slot(std::int64_t y) {
        const auto i = static_cast<std::size_t>((y + kRows) % kRows);
        return std::span(rows_).subspan(i * padded_width_, padded_width_);
    }

    void load(std::int64_t y) {
        const std::span<float> out = slot(y);
        if (y < 0 || y >= roi_.GetHeight()) {
            std::ranges::fill(out, 0.0F);
        } else {
            std::ranges::copy(grey_row(roi_, y), out.begin() + kHalfX);
        }
    }

    const Image& roi_;
    std::size_t padded_width_;
    std::vector<float> rows_;  // a ring of kRows rows
    std::array<std::span<const float>, kRows> window_;
    std::int64_t loaded_end_ = -kRows;
};

/// Which gradients count as an edge of the muscle.
struct DirectionTest {
    float kernel_sum;
    float tan_min, tan_max;

    /// The magnitudes of gradients (their low 16 bits); 0 if the direction lies outside the limits.
    void magnitudes(const Gradients& sums, std::span<std::uint16_t, kLanes> to) const {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const float gx = sums.gx[lane] / kernel_sum, gy = sums.gy[lane] / kernel_sum;
            const float slope = gy / gx;  // compares false if gx and gy are 0; gx alone is tested below
            const bool fits = (gx != 0.0F) & (tan_min < slope) & (slope < tan_max);
            const float squares = gx * gx + gy * gy;
            // The pixels have 16 bits, so the root is far below the largest int.
            const int root = static_cast<int>(std::sqrt(double{fits ? squares : 0.0F}));
            to[lane] = static_cast<std::uint16_t>(root);
        }
    }
};

/// Edge magnitudes of one row of the region.
class EdgeRow {
public:
    explicit EdgeRow(const Image& source, unsigned background)
        : roi_(source),
          threshold_(background),
          grey_(source.GetWidth() + kLanes),
          above_(grey_.size() + 2 * std::size_t{kHalfX}) {}

    void move_to(std::int64_t y) {
        std::ranges::copy(grey_row(roi_, y), grey_.begin());
        // Beyond the region, its outermost pixels are repeated.
        const auto row = grey_row(roi_, std::max<std::int64_t>(y - kHalfY, 0));
        std::fill_n(above_.begin(), kHalfX, row.front());
        std::fill(std::ranges::copy(row, above_.begin() + kHalfX).out, above_.end(), row.back());
    }

    void write(const Span& span, const KernelWindow& window, std::span<const float> kernel, const DirectionTest& test,
               std::span<std::uint16_t> edges) {
        for (std::int64_t from = span.first; from <= span.last; from += kLanes) {
            const auto x = static_cast<std::size_t>(from);
            std::array<std::uint16_t, kLanes> candidates;
            if (!find_candidates(x, candidates)) continue;
            std::array<std::uint16_t, kLanes> magnitudes;
            test.magnitudes(window.gradients_from(x, kernel), magnitudes);
            for (std::size_t lane = 0; lane < kLanes; ++lane) magnitudes[lane] &= candidates[lane];
            const auto count = std::min<std::int64_t>(kLanes, span.last + 1 - from);
            std::copy_n(magnitudes.begin(), count, edges.begin() + from);
            for (const std::uint16_t v : std::span(magnitudes).first(static_cast<std::size_t>(count)))
                if (v != 0) ++counts_[v];
        }
    }

    /// How many edges of each magnitude were written.
    [[nodiscard]] std::span<const int> histogram() const { return counts_; }

private:
    /// Sets all bits of the pixels that may be edges, and returns whether there are any. Dark pixels are background.
    /// Pixels next to a cut (zeros) are left out too, because the kernel would see the cut instead of the muscle.
    [[nodiscard]] bool find_candidates(std::size_t x, std::span<std::uint16_t, kLanes> candidates) const {
        unsigned any = 0;
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const unsigned is_bright = grey_[x + lane] >= threshold_, has_left = above_[x + lane] != 0,
                           has_right = above_[x + lane + 2 * std::size_t{kHalfX}] != 0;
            candidates[lane] = (is_bright & has_left & has_right) != 0 ? 0xFFFF : 0;
            any |= candidates[lane];
        }
        return any != 0;
    }

    const Image& roi_;
    unsigned threshold_;
    std::vector<std::uint16_t> grey_;  // the row, and room for the last lanes
    std::vector<int> counts_ = std::vector<int>(kGreyLevels);
    std::vector<std::uint16_t> above_;  // the window's top row, with the window's reach on both sides
};

/// The grey level that the brightest fraction of the image's pixels reaches; at least 1. `histogram` counts each level
/// above 0.
std::uint16_t upper_level(const Image* image, std::span<const int> histogram, float fraction) {
    const unsigned pixels = image == nullptr ? 0 : image->GetWidth() * image->GetHeight();
    const auto target = truncate_to<std::int64_t>(double{static_cast<float>(pixels) * fraction});
    std::int64_t sum = 0;
    for (std::uint16_t level = kGreyLevels - 1; level > 1; --level) {
        sum += histogram[level];
        if (sum >= target) return level;
    }
    return 1;
}

/// If the fraction asks for all pixels or for none, level 1 or the largest.
std::optional<std::uint16_t> level_at_the_ends(float fraction) {
    if (fraction >= 1.0F) return 1;
    if (fraction <= 0.0F) return kGreyLevels - 1;
    return std::nullopt;
}

float tangent_of_degrees(int angle) { return static_cast<float>(std::tan(angle * std::numbers::pi / 180.0)); }

bool is_usable_range(const Interval<int>& angles) {
    constexpr Interval<int> kUsable{-kSteepestAngle, kSteepestAngle};
    return kUsable.has(angles.first) && kUsable.has(angles.last) && angles.first < angles.last;
}

}  // namespace

EdgeLimits muscle_edge_limits(IMAGE_SIDE side) {
    const Interval<int> angles = side == SIDE_CHEST_RIGHT ? Interval<int>{-60, 0} : Interval<int>{0, 60};
    return {.margin = kEdgeMargin, .fraction = PectDetect::C_EDGE_PRECENTAGE, .angles = angles};
}

float write_kernel(int half_x, int half_y, std::span<float> kernel) {
    float sum = 0.0F;
    std::size_t cell = 0;
    for (int dy = -half_y; dy <= half_y; ++dy) {
        for (int dx = -half_x; dx <= half_x; ++dx, cell += 2) {
            if (cell + 1 >= kernel.size()) return sum;  // sized by the caller
            const auto squares = static_cast<float>(std::int64_t{dx} * dx + std::int64_t{dy} * dy);
            const bool is_centre = dx == 0 && dy == 0;
            kernel[cell] = is_centre ? 0.0F : static_cast<float>(dx) / squares;
            kernel[cell + 1] = is_centre ? 0.0F : static_cast<float>(dy) / squares;
            sum += std::fabs(kernel[cell]);
            sum += std::fabs(kernel[cell + 1]);
        }
    }
    return sum;
}

std::uint16_t background_threshold(const Image* region, Mask* mask, float fraction) {
    if (fraction >= 1.0F) return kGreyLevels - 1;
    if (fraction <= 0.0F) return 1;
    if (region == nullptr || mask == nullptr) return 0;
    mask->SetTargetPixelSize(region->GetPixelSize());

    std::vector<unsigned> histogram(kGreyLevels);
    std::uint64_t count = 0;
    MaskReader rows(*mask);
    const unsigned height = is_usable(region) ? region->GetHeight() : 0;
    for (unsigned y = 0; y < height; ++y) {
        const auto runs = rows.row(region->GetOffY() + y);
        if (runs.empty()) continue;
        Span span = span_in_region(runs, *region);
        span.first = std::max<std::int64_t>(span.first, 0);
        span.last = std::clamp<std::int64_t>(span.last, 0, std::int64_t{region->GetWidth()} - 1);
        if (span.is_empty()) continue;
        const auto pixels = part_of(grey_row(*region, y), span);
        count += pixels.size();
        for (const std::uint16_t p : pixels) ++histogram[p];
    }

    const auto target = truncate_to<std::int64_t>(double{static_cast<float>(count) * fraction});
    std::int64_t sum = 0;
    for (std::uint16_t level = 0; level < kGreyLevels - 1; ++level) {
        sum += histogram[level];
        if (sum >= target) return level;
    }
    return kGreyLevels - 1;
}

std::uint16_t brightest_level(Image* image, float fraction) {
    if (const auto level = level_at_the_ends(fraction)) return *level;
    std::vector<int> histogram(kGreyLevels);
    Utils::expect_memory(Filter::ComputeHisto(image, histogram.data(), kGreyLevels));
    return upper_level(image, histogram, fraction);
}

std::unique_ptr<Image> muscle_edges(const Image* region, Mask* mask, const EdgeLimits& limits) {
    const int margin = limits.margin;
    if (!is_usable(region) || mask == nullptr || margin < 0 || !is_usable_range(limits.angles)) return nullptr;

    std::vector<float> kernel(std::size_t{2} * PectDetect::C_XKERNELSIZE * PectDetect::C_YKERNELSIZE);
    const float kernel_sum = write_kernel(kHalfX, kHalfY, kernel);
    if (kernel_sum < PectDetect::C_ERROR) return nullptr;
    const DirectionTest test{kernel_sum, tangent_of_degrees(limits.angles.first),
                             tangent_of_degrees(limits.angles.last)};

    mask->SetTargetPixelSize(region->GetPixelSize());
    auto edges = std::make_unique<Image>(region, true);
    const unsigned threshold = background_threshold(region, mask, PectDetect::C_BKG_PERCENTAGE);
    KernelWindow window(*region);
    EdgeRow row(*region, threshold);
    MaskReader rows(*mask);
    const std::int64_t end = std::int64_t{region->GetHeight()} - margin;
    for (std::int64_t y = margin; y < end; ++y) {
        const auto runs = rows.row(region->GetOffY() + y);
        if (runs.empty()) continue;
        const Span span = span_in_region(runs, *region).cut_to({margin, std::int64_t{region->GetWidth()} - margin - 1});
        if (span.is_empty()) continue;
        window.move_to(y);
        row.move_to(y);
        run_wide([&] { row.write(span, window, kernel, test, grey_row_to_write(*edges, y)); });
    }
    const auto strongest = level_at_the_ends(limits.fraction);
    Utils::expect_memory(Filter::Threshold(
        edges.get(), strongest ? *strongest : upper_level(edges.get(), row.histogram(), limits.fraction)));
    return edges;
}

}  // namespace Norvane
