// SPDX-License-Identifier: Apache-2.0
/// The depth of the frame in each row of a strip whose column 0 is the image border.
#include "field/frame_detector.h"

#include "field/frame_levels.h"
#include "field/grey_rows.h"
#include "model/grey_statistics.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

namespace Norvane {
namespace {

constexpr unsigned kBrightStart = 39320;     // 0.6 of the grey scale; darker pixels at the border are not frame
constexpr int kLongestDarkStart = 7;         // columns
constexpr double kEdgeVariance = 6760000.0;  // square of the weakest edge strength
constexpr double kLargestChi = 90.0;         // for the pixels passed so far
constexpr double kQuantile = 0.741;          // of the normal distribution, for every comparison of means
constexpr double kLargestLocalDrop = -7.0;   // of the local mean against all pixels passed
constexpr int kLocalColumns = 5;
constexpr double kFlatVariance = 1.0;
constexpr double kOutlierSquare = 16.0;  // squared distance from the mean in variances
constexpr int kHalfWindow = 4;           // of running maximum and mean, in entries
constexpr int kWindow = 2 * kHalfWindow + 1;

GreyStatistics statistics_of(std::span<const std::uint16_t> pixels) {
    GreyStatistics s;
    s.add(pixels);
    return s;
}

enum class Verdict { kStop, kFrame, kPass };

/// Whether the pixels passed so far are still frame. They begin at the column where the scan began.
Verdict judge(const GreyStatistics& passed, std::span<const std::uint16_t> last_pixels, double reference_mean) {
    const double n = passed.size();
    const double mean = passed.mean(), variance = passed.variance();
    if ((n - 1.0) * variance / kEdgeVariance > kLargestChi) return Verdict::kStop;
    if ((mean - reference_mean) / kFrameEdgeStrength < -kQuantile) return Verdict::kStop;
    if (variance < kFlatVariance && mean > kFrameBrightness) return Verdict::kFrame;
    const double z = (mean - kFrameBrightness) / std::sqrt(variance / n);
    if (!(z > kQuantile)) return Verdict::kPass;

    const GreyStatistics local = statistics_of(last_pixels);
    const double local_mean = local.mean(), local_variance = local.variance();
    if (local_variance < kFlatVariance && local_mean > kFrameBrightness) return Verdict::kFrame;
    const double degrees = local.size() - 1.0;
    const double against_all = (local_mean - mean) / std::sqrt(variance / degrees);
    const double against_frame = (local_mean - kFrameBrightness) / std::sqrt(local_variance / degrees);
    const bool is_frame = against_frame > -kQuantile && against_all > kLargestLocalDrop && against_all < kQuantile;
    return is_frame ? Verdict::kFrame : Verdict::kPass;
}

/// The columns first .. end - 1 of a row, as far as they exist.
std::span<const std::uint16_t> part_of(std::span<const std::uint16_t> row, std::int64_t first, std::int64_t end) {
    return Norvane::part_of(row, Interval<std::int64_t>{first, std::min<std::int64_t>(end, std::ssize(row)) - 1});
}

/// The first bright column among those in which a frame can begin; if none is bright, the column after them.
int first_bright_column(std::span<const std::uint16_t> pixels) {
    int column = 0;
    for (const unsigned v : part_of(pixels, 0, kLongestDarkStart)) {
        if (v >= kBrightStart) return column;
        ++column;
    }
    return kLongestDarkStart;
}

/// The last column of a row that passed as an edge of the frame; otherwise the coarse depth.
int depth_of_row(std::span<const std::uint16_t> edges, std::span<const std::uint16_t> pixels, int coarse_depth) {
    constexpr int kFewest = 2;  // pixels passed before an edge is judged
    const int bright = first_bright_column(pixels);
    const int start = std::max(bright, coarse_depth);
    const double reference_mean = bright < start ? statistics_of(part_of(pixels, bright, start)).mean() : 0.0;
    int depth = coarse_depth, next = start;
    GreyStatistics passed;
    const auto searched = part_of(edges, start + kFewest, std::ssize(pixels));
    visit_at_least(kFrameEdgeStrength + 1, searched, [&](std::size_t i) {
        const int x = start + kFewest + static_cast<int>(i);
        passed.add(part_of(pixels, next, x));
        next = x;
        const Verdict verdict = judge(passed, part_of(pixels, std::max(x - kLocalColumns, start), x), reference_mean);
        if (verdict == Verdict::kFrame) depth = x;
        return verdict != Verdict::kStop;
    });
    return depth;
}

/// Replaces entries far from the mean by the rounded mean.
void replace_outliers(std::span<int> depth) {
    double n = 0.0, sum = 0.0, squares = 0.0;
    for (const double d : depth) {
        ++n;
        sum += d;
        squares += d * d;
    }
    const double mean = sum / n;
    double variance = squares / n - mean * mean;
    if (variance < kFlatVariance) variance = kFlatVariance;
    for (int& d : depth)
        if ((d - mean) * (d - mean) / variance > kOutlierSquare) d = truncate_to<int>(mean + 0.5);
}

/// The largest entry of each window. The ends get that of the nearest full window. If no full window fits, all are 0.
std::vector<int> running_maximum(const std::vector<int>& values) {
    std::vector<int> maxima(values.size(), 0);
    const Row<int> at{maxima};
    const std::int64_t n = std::ssize(values);
    for (std::int64_t i = kHalfWindow; i + kHalfWindow < n; ++i)
        at[i] = *std::max_element(values.begin() + i - kHalfWindow, values.begin() + i + kHalfWindow + 1);
    std::fill_n(maxima.begin(), kHalfWindow, at[kHalfWindow]);
    std::fill_n(maxima.end() - kHalfWindow, kHalfWindow, at[n - kHalfWindow - 1]);
    return maxima;
}

}  // namespace

void FrameDetector::DepthProfile(Image* edges, Image* strip, int coarseDepth, int firstRow, int lastRow,
                                 std::vector<int>& depth) {
    std::fill(depth.begin(), depth.end(), coarseDepth);
    const auto rows = static_cast<int>(std::min<std::size_t>({depth.size(), edges->GetHeight(), strip->GetHeight()}));
    const Row<int> profile{depth};
    for (int r = std::max(firstRow, 0); r <= std::min(lastRow, rows - 1); ++r)
        profile[r] = depth_of_row(grey_row(*edges, r), grey_row(*strip, r), coarseDepth);
    SmoothProfile(depth, firstRow, lastRow);
}

void FrameDetector::SmoothProfile(std::vector<int>& depth, int firstRow, int lastRow) {
    const std::int64_t entries = std::ssize(depth);
    const std::int64_t first = std::max(firstRow, 0), last = std::min<std::int64_t>(lastRow, entries - 1);
    if (first > last) return;
    replace_outliers(Norvane::part_of(std::span(depth), Interval<std::int64_t>{first, last}));
    if (entries <= kHalfWindow) return;
    const std::vector<int> maxima = running_maximum(depth);
    const Row<int> profile{depth};
    for (std::int64_t r = first; r <= last; ++r) {
        const auto at = maxima.begin() + r;
        const bool is_end = r < first + kHalfWindow || r >= last - kHalfWindow;
        const auto mean = [&] {
            return std::accumulate(at - kHalfWindow, at + kHalfWindow + 1, std::int64_t{0}) / kWindow;
        };
        profile[r] = is_end ? *at : static_cast<int>(mean());
    }
}

void FrameDetector::SuppressNonMaxima(Image* edge, Image* strip, Image* out) {
    if (edge->GetStride() != strip->GetStride()) throw "Error: strides are not equal!";
    out->InitToZero();
    const unsigned height = std::min(edge->GetHeight(), out->GetHeight());
    const std::size_t width = std::min(edge->GetWidth(), out->GetWidth());
    for (unsigned y = 1; y + 1 < height; ++y) {
        const auto above = grey_row(*edge, y - 1), here = grey_row(*edge, y), below = grey_row(*edge, y + 1);
        if (largest_of(here) < kFrameEdgeStrength) continue;
        const auto kept = grey_row_to_write(*out, y);
        for (std::size_t x = 1; x + 1 < width; ++x) {
            // Keep local maxima along either axis.
            const std::uint16_t beside = std::max(here[x - 1], here[x + 1]), along = std::max(above[x], below[x]);
            const std::uint16_t least = std::max(std::min(beside, along), kFrameEdgeStrength);
            kept[x] = here[x] >= least ? here[x] : std::uint16_t{0};
        }
    }
    RemoveIsolatedPoints(out);
}

/// Clears edge pixels with fewer than kSmallestGroup edge pixels around them, themselves included. Pixels that are
/// already cleared do not count, so the order matters: rows are visited alternately from left to right and from right
/// to left. The edge pixels of the rows around the visited one are counted per column.
void FrameDetector::RemoveIsolatedPoints(Image* image) {
    constexpr unsigned kHalf = 5;  // of the window
    constexpr unsigned kSide = 2 * kHalf + 1;
    constexpr int kSmallestGroup = 5;
    const unsigned width = image->GetWidth(), height = image->GetHeight();
    if (width < kSide || height < kSide || image->GetBuffer() == nullptr) return;

    std::vector<std::uint16_t> column_count(width, 0);
    const std::vector<std::uint16_t> no_edges(width, 0);
    const auto move_window = [&](std::span<const std::uint16_t> entering, std::span<const std::uint16_t> leaving) {
        const auto is_edge = [](std::uint16_t v) { return v >= kFrameEdgeStrength ? 1 : 0; };
        for (unsigned x = 0; x < width; ++x)
            column_count[x] = static_cast<std::uint16_t>(column_count[x] + is_edge(entering[x]) - is_edge(leaving[x]));
    };
    for (unsigned y = 0; y < kSide - 1; ++y) move_window(grey_row(*image, y), no_edges);

    std::vector<std::size_t> edges;
    for (unsigned y = kHalf; y + kHalf < height; ++y) {
        move_window(grey_row(*image, y + kHalf), y == kHalf ? no_edges : grey_row(*image, y - kHalf - 1));
        const auto visited = grey_row_to_write(*image, y).subspan(kHalf, width - 2 * kHalf);
        for (std::uint16_t& v : visited) v = v >= kFrameEdgeStrength ? v : std::uint16_t{0};
        edges.clear();
        visit_at_least(kFrameEdgeStrength, visited, [&](std::size_t x) { return edges.push_back(x), true; });
        const bool to_left = (y - kHalf) % 2 != 0;
        if (to_left) std::ranges::reverse(edges);
        for (const std::size_t x : edges) {
            const auto window = std::span(column_count).subspan(x, kSide);
            if (std::accumulate(window.begin(), window.end(), 0) >= kSmallestGroup) continue;
            visited[x] = 0;
            --window[kHalf];
        }
    }
}

}  // namespace Norvane
