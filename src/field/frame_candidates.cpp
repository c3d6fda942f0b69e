// SPDX-License-Identifier: Apache-2.0
/// Finds straight frame edges: makes the edge image of a window along a border, its projection profile, and tests each
/// peak by the grey levels on both sides of it.
#include "field/frame_detector.h"

#include "field/frame_levels.h"
#include "field/grey_rows.h"
#include "imaging/image_copy.h"
#include "model/geometry.h"
#include "model/grey_statistics.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/scratch.h"
#include "model/wide_vectors.h"
#include "model/working_image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

namespace Norvane {
namespace {

constexpr int kBrightestBackground = Masking::c_bg_noise_upper_level;  // edge pixels and frames are brighter
constexpr int kCappedStrength = 5;                                     // a single edge pixel counts at most this much
constexpr int kSmallestCoverage = 20;                                  // percent of the line that must be edge
constexpr double kSmallestT = 13.4;                                    // Welch's t of the means on both sides
constexpr Micrometres kDeepTop{14000.0};                               // a deeper top edge ...
constexpr double kDeepTopUniformity = 0.75;  // ... needs an outer strip as bright as this share of the maxima

using GreyRow = std::span<const std::uint16_t>;

bool is_column_border(FrameBorder border) { return border == FRAME_LEFT || border == FRAME_RIGHT; }
/// Whether bins are counted from this border: its lines have the lower index.
bool is_near_border(FrameBorder border) { return border == FRAME_LEFT || border == FRAME_TOP; }

/// A quarter of the rise towards the border, at most 65535; 0 if the grey level falls or the pixel is dark.
std::uint16_t edge_strength(int rise, std::uint16_t pixel) {
    const auto strength = static_cast<std::uint16_t>(static_cast<unsigned>(std::max(rise, 0)) / 4);
    return pixel >= kBrightestBackground ? strength : std::uint16_t{0};
}

constexpr std::size_t kEdgeBlock = 128;  // columns; most of a mammogram is dark and is skipped in blocks

/// Edges along columns at the inner pixels of part of the row `here`, by the kernel of [sobel1968] in two passes: down
/// the rows, then across.
void write_column_edges(GreyRow above, GreyRow here, GreyRow below, bool border_is_left, std::span<std::uint16_t> out) {
    std::array<int, kEdgeBlock + 2> sums;
    for (std::size_t x = 0; x < here.size(); ++x) sums[x] = above[x] + 2 * here[x] + below[x];
    const auto nearer = std::span(sums).subspan(border_is_left ? 0 : 2);
    const auto farther = std::span(sums).subspan(border_is_left ? 2 : 0);
    for (std::size_t x = 1; x + 1 < here.size(); ++x) out[x] = edge_strength(nearer[x - 1] - farther[x - 1], here[x]);
}

/// The same along rows; `nearer` is the row next to it on the side of the border.
void write_row_edges(GreyRow nearer, GreyRow here, GreyRow farther, std::span<std::uint16_t> out) {
    std::array<int, kEdgeBlock + 2> rises;
    for (std::size_t x = 0; x < here.size(); ++x) rises[x] = nearer[x] - farther[x];
    for (std::size_t x = 1; x + 1 < here.size(); ++x)
        out[x] = edge_strength(rises[x - 1] + 2 * rises[x] + rises[x + 1], here[x]);
}

/// For each line, the number of its edge pixels and the sum of their capped strengths.
struct Projection {
    unsigned extent;  // lines
    std::vector<int> count, weight;
    explicit Projection(unsigned lines) : extent(lines), count(lines), weight(lines) {}
};

/// Projects the edge pixels onto columns or rows.
Projection project(const Image& edge, bool onto_columns) {
    Projection lines(onto_columns ? edge.GetWidth() : edge.GetHeight());
    for (unsigned y = 0; y < edge.GetHeight(); ++y) {
        const auto row = grey_row(edge, y);
        visit_at_least(kFrameEdgeStrength + 1, row, [&](std::size_t x) {
            const std::size_t line = onto_columns ? x : y;
            ++lines.count[line];
            lines.weight[line] += std::min(row[x] / kFrameEdgeStrength, kCappedStrength);
            return true;
        });
    }
    return lines;
}

/// Lines gathered in bins of `step` lines each.
Projection in_bins(const Projection& lines, double step) {
    Projection bins(truncate_to<unsigned>(lines.extent / step + 0.5) + 1);
    for (unsigned i = 0; i < lines.extent; ++i) {
        const auto bin = truncate_to<unsigned>(i / step);
        bins.count[bin] += lines.count[i];
        bins.weight[bin] += lines.weight[i];
    }
    return bins;
}

/// The strips of a candidate, and the lines whose maxima are averaged.
struct Strips {
    Rectangle<int> outer, inner, maxima;
};

/// Half the depth of the strips: half the distance to the nearer end of the window, at least 3.
int strip_depth(int position, int extent) {
    const int distance = 2 * position <= extent ? position : extent - position;
    return std::max((distance >> 1) + 1, 3);
}

Strips strips_of_column(int p, int width, int height, FrameBorder border) {
    const Interval<int> rows{height / 4, (3 * height) >> 2}, maxima{rows.first, rows.last - 1};
    if (border == FRAME_LEFT)
        return {{{p / 2, p}, rows}, {{p, std::min(((3 * p) >> 1) + 1, width - 1)}, rows}, {{0, p - 1}, maxima}};
    const int k = strip_depth(p, width);
    return {{{p, std::min(p + k, width - 1)}, rows}, {{std::max(p - k, 0), p}, rows}, {{p, width - 1}, maxima}};
}

Strips strips_of_row(int p, int width, int height, FrameBorder border, IMAGE_SIDE side) {
    const Interval<int> columns =
        side == SIDE_CHEST_LEFT ? Interval<int>{width / 8, 5 * width / 8} : Interval<int>{3 * width / 8, 7 * width / 8};
    const Interval<int> maxima{columns.first, columns.last - 1};
    const int k = strip_depth(p, height);
    const Interval<int> above{std::max(p - k, 0), p}, below{p, std::min(p + k, height - 1)};
    if (border == FRAME_BOTTOM) return {{columns, below}, {columns, above}, {maxima, {p, height - 1}}};
    // The first rows of a detector are often brighter than the frame below them, so they are left out if there is room.
    constexpr int kBrightRows = 7;
    int first = above.first;
    if (first < kBrightRows) {
        if (p >= kBrightRows + 3)
            first = kBrightRows;
        else if (p >= 3)
            first = p - 3;
    }
    return {{columns, {first, p}}, {columns, below}, {maxima, {0, p - 1}}};
}

/// The part of the rectangle that lies inside the image.
Rectangle<int> inside(const Rectangle<int>& r, const Image& image) {
    return {r.columns.cut_to(columns_of(image)), r.rows.cut_to(rows_of(image))};
}

/// The columns of a row; empty if they cross.
GreyRow part_of_row(const Image& image, int y, const Interval<int>& columns) {
    return part_of(GreyRow(grey_row(image, y)), columns);
}

/// The grey values of the strip. Its area is that of the whole rectangle, even if part of it lies outside the image.
Sample sample_of(const Image& image, const Rectangle<int>& strip) {
    const Rectangle<int> seen = inside(strip, image);
    GreyStatistics grey;
    for (int y = seen.rows.first; y <= seen.rows.last; ++y) grey.add(part_of_row(image, y, seen.columns));
    return {grey.mean(), grey.variance(), 1.0 * strip.columns.count() * strip.rows.count()};
}

/// Mean of the maxima of lines: of rows at a column border, of columns at a row border. Lines without pixels count as
/// 0.
double mean_of_maxima(const Image& image, const Rectangle<int>& lines, bool of_rows) {
    const Rectangle<int> seen = inside(lines, image);
    double sum = 0.0;  // of whole numbers, so it is exact
    if (of_rows) {
        for (int y = seen.rows.first; y <= seen.rows.last; ++y) sum += largest_of(part_of_row(image, y, seen.columns));
    } else {
        std::vector<std::uint16_t> maxima(part_of_row(image, 0, seen.columns).size());
        for (int y = seen.rows.first; y <= seen.rows.last; ++y) {
            const auto pixels = part_of_row(image, y, seen.columns);
            for (std::size_t i = 0; i < maxima.size(); ++i) maxima[i] = std::max(maxima[i], pixels[i]);
        }
        for (const std::uint16_t maximum : maxima) sum += maximum;
    }
    const Interval<int>& counted = of_rows ? lines.rows : lines.columns;
    return sum / std::max(counted.count(), 0);
}

}  // namespace

void FrameDetector::DetectBorder(Image* image, unsigned x0, unsigned y0, unsigned w, unsigned h, IMAGE_SIDE side,
                                 FrameBorder border, unsigned& bound) {
    const bool is_column = is_column_border(border);
    const bool is_far = !is_near_border(border);  // counted from the far end of the window
    const int step = is_column ? 1 : 3;
    GarbageList garbage;
    Image* window = make_scratch<Image>(garbage, image->GetFormat(), image->GetBits(), w, h, true);
    Utils::ImageCopy(image, window, x0, y0, 0, 0, w, h);
    window->SetPixelSize(image->GetPixelSize());
    Image* edge = make_scratch<Image>(garbage, window, true);
    EdgeImage(window, edge, border);
    auto& list = candidates[border];
    FindCandidates(edge, list, step, border);

    const int extent = static_cast<int>(is_column ? w : h);
    const unsigned line_length = (is_column ? h : w) * static_cast<unsigned>(step);
    for (FrameCandidate& c : list) {
        c.coverage = line_length == 0 ? 0 : static_cast<int>(static_cast<unsigned>(c.coverage) * 100 / line_length);
        c.position = (is_far ? c.position - 1 : c.position + 1) * step;
        if (is_far && c.position < 0) c.position = std::max(extent - 1, 0);
        if (!is_far && c.position >= extent) c.position = 0;
        EvaluateCandidate(window, c, side, border);
    }

    bound = !is_far ? 0 : (is_column ? image->GetWidth() : image->GetHeight()) - 1;
    const auto found = std::ranges::find_if(list, &FrameCandidate::accepted);
    if (found != list.end()) bound = static_cast<unsigned>(found->position) + (is_column ? x0 : y0) + (is_far ? 1 : 0);
}

/// Uses integers. This gives the same result as float, in which sums of 16-bit samples and their quarters are exact.
bool FrameDetector::EdgeImage(Image* window, Image* edge, FrameBorder border) {
    if (!is_usable(window) || !is_usable(edge)) return false;
    const unsigned width = window->GetWidth(), height = window->GetHeight();
    if (edge->GetWidth() != width || edge->GetHeight() != height) return false;
    edge->InitToZero();
    const bool is_near = is_near_border(border);
    for (unsigned y = 1; y + 1 < height; ++y) {
        for (std::size_t begin = 1; begin + 1 < width; begin += kEdgeBlock) {
            const std::size_t size = std::min(kEdgeBlock, width - 1 - begin);
            if (largest_of(grey_row(*window, y).subspan(begin, size)) < kBrightestBackground) continue;
            const auto stretch = [&](unsigned row) { return grey_row(*window, row).subspan(begin - 1, size + 2); };
            const auto out = grey_row_to_write(*edge, y).subspan(begin - 1, size + 2);
            run_wide([&] {
                if (is_column_border(border))
                    write_column_edges(stretch(y - 1), stretch(y), stretch(y + 1), is_near, out);
                else
                    write_row_edges(stretch(is_near ? y - 1 : y + 1), stretch(y), stretch(is_near ? y + 1 : y - 1),
                                    out);
            });
        }
    }
    return true;
}

void FrameDetector::FindCandidates(Image* edge, std::vector<FrameCandidate>& list, double step, FrameBorder border) {
    const bool is_near = is_near_border(border);
    const Projection profile = in_bins(project(*edge, is_column_border(border)), step);
    const Row<const int> count{profile.count}, weight{profile.weight};
    const int last = static_cast<int>(profile.extent) - 1;
    FrameCandidate none;
    none.position = is_near ? 0 : last;
    none.weight = weight[none.position];
    list.assign(kCandidates, none);
    for (int i = 1; i < last; ++i) {
        if (weight[i] < weight[i - 1] || weight[i] < weight[i + 1]) continue;
        // Of two equal peaks, the one farther from the border is kept.
        const auto weaker = std::ranges::find_if(
            list, [&](const FrameCandidate& c) { return c.weight < weight[i] || (is_near && c.weight == weight[i]); });
        if (weaker == list.end()) continue;
        FrameCandidate peak;
        peak.position = i;
        peak.weight = weight[i];
        peak.coverage = count[i];
        list.insert(weaker, peak);
        list.pop_back();
    }
}

bool FrameDetector::EvaluateCandidate(Image* window, FrameCandidate& c, IMAGE_SIDE side, FrameBorder border) {
    const int p = c.position;
    const int width = width_of(*window), height = height_of(*window);
    if (p < 2 || p >= width - 2) return false;
    const bool is_column = is_column_border(border);
    const Strips strips =
        is_column ? strips_of_column(p, width, height, border) : strips_of_row(p, width, height, border, side);
    c.frameMaxMean = mean_of_maxima(*window, strips.maxima, is_column);
    const Sample outer = sample_of(*window, strips.outer), inner = sample_of(*window, strips.inner);
    c.outerMean = outer.mean, c.outerVariance = outer.variance, c.outerArea = outer.size;
    c.innerMean = inner.mean, c.innerVariance = inner.variance, c.innerArea = inner.size;
    if (outer.mean > kBrightestBackground && c.frameMaxMean > kFrameBrightness && c.coverage > kSmallestCoverage &&
        welch_t(outer, inner) > kSmallestT)
        c.accepted = true;

    if (border == FRAME_TOP) {
        const float pixel_size = window->GetPixelSize();
        const bool has_scale = pixel_size != 0.0F && !std::isnan(pixel_size);
        const int deep = has_scale ? truncate_to<int>(kDeepTop.value / double{pixel_size}) : 0;
        if (p > deep && outer.mean / c.frameMaxMean < kDeepTopUniformity) c.accepted = false;
    }
    return c.accepted;
}

void FrameDetector::RegionMeanVariance(Image* image, int x0, int x1, int y0, int y1, double& mean, double& variance) {
    const Sample region = sample_of(*image, {{x0, x1}, {y0, y1}});
    mean = region.mean;
    variance = region.variance;
}

void FrameDetector::MeanOfMaxima(Image* image, int x0, int x1, int y0, int y1, FrameBorder border, double& result) {
    result = mean_of_maxima(*image, {{x0, x1 - 1}, {y0, y1 - 1}}, is_column_border(border));
}

}  // namespace Norvane
