// SPDX-License-Identifier: Apache-2.0
#include "score/score_measures.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Norvane::Host {
namespace {

// Larger than the square of any distance.
constexpr std::uint32_t kFar = 1U << 31;
static_assert(std::uint64_t{2} * kMostScoredSide * kMostScoredSide < kFar);

// For each pixel, the number of rows to the nearest pixel of the region in its column; kFar if there is none.
std::vector<std::uint32_t> column_distances(const LabelPixels& region) {
    std::vector<std::uint32_t> rows(region.pixels.size(), kFar);
    const std::size_t width = region.width;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (region.pixels[i] != 0) {
            rows[i] = 0;
        } else if (i >= width && rows[i - width] != kFar) {
            rows[i] = rows[i - width] + 1;
        }
    }
    for (std::size_t i = rows.size(); i-- > width;) rows[i - width] = std::min(rows[i - width], rows[i] + 1);
    return rows;
}

// Finds the lowest of the parabolas (x - i)^2 + heights[i] at every x by the method of Felzenszwalb and Huttenlocher.
// `vertices` are those of the parabolas that are the lowest somewhere; `starts` says from which x on.
class LowerEnvelope {
public:
    explicit LowerEnvelope(std::size_t width) : vertices(width), starts(width), heights(width) {}

    void replace(std::uint32_t* row) {
        const auto width = static_cast<std::int64_t>(heights.size());
        std::size_t count = 0;
        for (std::int64_t x = 0; x < width; ++x) {
            heights[static_cast<std::size_t>(x)] = row[x];
            if (row[x] < kFar) count = add(x, count);
        }
        if (count == 0) return;
        std::size_t k = 0;
        for (std::int64_t x = 0; x < width; ++x) {
            while (k + 1 < count && starts[k + 1] <= x) ++k;
            const std::int64_t away = x - vertices[k];
            row[x] = static_cast<std::uint32_t>(away * away + height(vertices[k]));
        }
    }

private:
    [[nodiscard]] std::int64_t height(std::int64_t x) const { return heights[static_cast<std::size_t>(x)]; }

    // The first integer x at which the parabola of `right` is not above that of `left`.
    [[nodiscard]] std::int64_t meeting(std::int64_t left, std::int64_t right) const {
        const std::int64_t above = right * right + height(right) - left * left - height(left);
        const std::int64_t slope = 2 * (right - left);
        return above >= 0 ? (above + slope - 1) / slope : -(-above / slope);
    }

    std::size_t add(std::int64_t x, std::size_t count) {
        std::int64_t start = 0;
        while (count > 0) {
            start = meeting(vertices[count - 1], x);
            if (start > starts[count - 1]) break;
            --count;
            start = 0;
        }
        if (start >= static_cast<std::int64_t>(heights.size())) return count;  // nowhere the lowest in this row
        vertices[count] = x;
        starts[count] = start;
        return count + 1;
    }

    std::vector<std::int64_t> vertices, starts, heights;
};

// The pixels of the outline as a region.
LabelPixels outline_of(const LabelPixels& region) {
    LabelPixels outline{region.width, region.height, std::vector<std::uint8_t>(region.pixels.size())};
    const std::size_t width = region.width;
    for (std::size_t y = 0; y < region.height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const std::uint8_t* pixel = &region.pixels[y * width + x];
            if (*pixel == 0) continue;
            const bool is_at_outside = (x > 0 && pixel[-1] == 0) || (x + 1 < width && pixel[1] == 0) ||
                                       (y > 0 && *(pixel - width) == 0) || (y + 1 < region.height && pixel[width] == 0);
            outline.pixels[y * width + x] = is_at_outside ? 1 : 0;
        }
    }
    return outline;
}

std::vector<double> distances(const LabelPixels& from, const LabelPixels& to) {
    const std::vector<std::uint32_t> squares = squared_distances(to);
    std::vector<double> found;
    for (std::size_t i = 0; i < squares.size(); ++i) {
        if (from.pixels[i] != 0) found.push_back(std::sqrt(static_cast<double>(squares[i])));
    }
    return found;
}

// The smallest of the values that at least 95 % of them do not exceed.
double percentile95(std::vector<double>& values) {
    const std::size_t rank = (values.size() * 95 + 99) / 100;
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(rank) - 1;
    std::ranges::nth_element(values, at);
    return *at;
}

bool is_empty(const LabelPixels& region) {
    return std::ranges::all_of(region.pixels, [](std::uint8_t pixel) { return pixel == 0; });
}

std::optional<OutlineDistance> outline_distance(const LabelPixels& truth, const LabelPixels& mask) {
    const LabelPixels true_outline = outline_of(truth);
    const LabelPixels mask_outline = outline_of(mask);
    if (is_empty(true_outline) && is_empty(mask_outline)) return OutlineDistance{};
    if (is_empty(true_outline) || is_empty(mask_outline)) return std::nullopt;
    std::vector<double> there = distances(true_outline, mask_outline);
    std::vector<double> back = distances(mask_outline, true_outline);
    const double sum =
        std::accumulate(there.begin(), there.end(), 0.0) + std::accumulate(back.begin(), back.end(), 0.0);
    return OutlineDistance{sum / static_cast<double>(there.size() + back.size()),
                           std::max(percentile95(there), percentile95(back))};
}

}  // namespace

std::vector<std::uint32_t> squared_distances(const LabelPixels& region) {
    std::vector<std::uint32_t> squares = column_distances(region);
    for (std::uint32_t& rows : squares) rows = rows < kFar ? rows * rows : kFar;
    LowerEnvelope envelope(region.width);
    for (std::size_t y = 0; y < region.height; ++y) envelope.replace(&squares[y * region.width]);
    return squares;
}

Score score(const LabelPixels& truth, const LabelPixels& mask) {
    Score result;
    std::size_t both = 0;
    for (std::size_t i = 0; i < truth.pixels.size(); ++i) {
        const bool is_true = truth.pixels[i] != 0;
        const bool is_masked = mask.pixels[i] != 0;
        result.truth_pixels += is_true ? 1 : 0;
        result.mask_pixels += is_masked ? 1 : 0;
        both += is_true && is_masked ? 1 : 0;
    }
    const std::size_t sum = result.truth_pixels + result.mask_pixels;
    if (sum > 0) {
        result.dice = 2.0 * static_cast<double>(both) / static_cast<double>(sum);
        result.jaccard = static_cast<double>(both) / static_cast<double>(sum - both);
    }
    const bool is_one_empty = (result.truth_pixels == 0) != (result.mask_pixels == 0);
    if (!is_one_empty) result.outline = outline_distance(truth, mask);
    return result;
}

}  // namespace Norvane::Host
