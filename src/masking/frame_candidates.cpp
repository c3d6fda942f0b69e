// SPDX-License-Identifier: Apache-2.0
/// Straight frame edges: the edge image of a window along a border, its projection profile, and the test of each peak
/// by the grey levels on either side of it.
#include "masking/frame_detector.h"

#include "imaging/image_copy.h"
#include "masking/frame_levels.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/scratch.h"
#include "model/working_image.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace Norvane {
namespace {

constexpr int kBrightestBackground = Masking::c_bg_noise_upper_level;  // an edge pixel and a frame are brighter
constexpr int kCappedStrength = 5;           // a single strong edge pixel counts no more than this
constexpr int kSmallestCoverage = 20;        // percent of the line that must be edge
constexpr double kSmallestT = 13.4;          // of the means on either side
constexpr double kDeepTop_um = 14000.0;      // a deeper top edge ...
constexpr double kDeepTopUniformity = 0.75;  // ... needs an outer strip as bright as this share of the maxima

/// Sobel's difference of two lines of three pixels, the second minus the first.
int sobel_difference(int a0, int a1, int a2, int b0, int b1, int b2) { return (b0 - a0) + 2 * (b1 - a1) + (b2 - a2); }

/// The strips of a candidate, all ends in, and the range of the maxima, ends out.
struct Strips {
    struct Range {
        int first, last;
    };
    Range outer_x, outer_y, inner_x, inner_y, maxima_x, maxima_y;
};

/// Half the depth of the strips: half the distance to the nearer end of the window, at least 3.
int strip_depth(int position, int extent) {
    const int distance = 2 * position <= extent ? position : extent - position;
    return std::max((distance >> 1) + 1, 3);
}

Strips strips_of_column(int p, int width, int height, int border) {
    const Strips::Range rows{height / 4, (3 * height) >> 2};
    if (border == FRAME_LEFT)
        return {{p / 2, p}, rows, {p, std::min(((3 * p) >> 1) + 1, width - 1)}, rows, {0, p}, rows};
    const int k = strip_depth(p, width);
    return {{p, std::min(p + k, width - 1)}, rows, {std::max(p - k, 0), p}, rows, {p, width}, rows};
}

Strips strips_of_row(int p, int width, int height, int border, IMAGE_SIDE side) {
    const Strips::Range columns =
        side == SIDE_CHEST_LEFT ? Strips::Range{width / 8, 5 * width / 8} : Strips::Range{3 * width / 8, 7 * width / 8};
    const int k = strip_depth(p, height);
    const int above = std::max(p - k, 0), below = std::min(p + k, height - 1);
    if (border == FRAME_BOTTOM) return {columns, {p, below}, columns, {above, p}, columns, {p, height}};
    // The first rows of a detector are often brighter than the frame below them: keep off them where there is room.
    int first = above;
    if (first < 7) {
        if (p >= 10)
            first = 7;
        else if (p >= 3)
            first = p - 3;
    }
    return {columns, {first, p}, columns, {p, below}, columns, {0, p}};
}

double area_of(const Strips::Range& x, const Strips::Range& y) {
    return static_cast<double>(x.last - x.first + 1) * static_cast<double>(y.last - y.first + 1);
}

}  // namespace

void FrameDetector::DetectBorder(Image* image, unsigned x0, unsigned y0, unsigned w, unsigned h, IMAGE_SIDE side,
                                 int border, unsigned& bound) {
    const bool is_column = border == FRAME_LEFT || border == FRAME_RIGHT;
    const bool is_far = border == FRAME_RIGHT || border == FRAME_BOTTOM;  // counted from the far end of the window
    const int step = is_column ? 1 : 3;
    GarbageList garbage;
    Image* window = make_scratch<Image>(garbage, image->GetFormat(), image->GetBits(), w, h, true);
    Utils::ImageCopy(image, window, x0, y0, 0, 0, w, h);
    window->SetPixelSize(image->GetPixelSize());
    Image* edge = make_scratch<Image>(garbage, window, true);
    EdgeImage(window, edge, border);
    auto& list = candidates[static_cast<std::size_t>(border)];
    FindCandidates(edge, list, step, border);

    const int extent = static_cast<int>(is_column ? w : h);
    const unsigned line_length = (is_column ? h : w) * static_cast<unsigned>(step);
    for (FrameCandidate& c : list) {
        c.coverage = line_length == 0 ? 0 : static_cast<int>(static_cast<unsigned>(c.coverage) * 100 / line_length);
        c.position = (is_far ? c.position - 1 : c.position + 1) * step;
        if (is_far && c.position < 0) c.position = std::max(extent - 1, 0);
        if (!is_far && c.position >= extent) c.position = 0;
        c.accepted = false;
        EvaluateCandidate(window, c, side, border);
    }

    bound = !is_far ? 0 : (is_column ? image->GetWidth() : image->GetHeight()) - 1;
    const auto found = std::ranges::find_if(list, &FrameCandidate::accepted);
    if (found != list.end()) bound = static_cast<unsigned>(found->position) + (is_column ? x0 : y0) + (is_far ? 1 : 0);
}

/// The rise of the grey level towards the border by Sobel's kernel, a quarter of it, at bright pixels. In integers: the
/// sums of 16-bit samples and their quarters are exact in float too.
bool FrameDetector::EdgeImage(Image* window, Image* edge, int border) {
    if (!is_usable(window) || !is_usable(edge)) return false;
    if (edge->GetWidth() != window->GetWidth() || edge->GetHeight() != window->GetHeight()) return false;
    edge->InitToZero();
    const bool is_column = border == FRAME_LEFT || border == FRAME_RIGHT;
    // Left and top: the pixel nearer the border has the lower index.
    const int sign = border == FRAME_LEFT || border == FRAME_TOP ? -1 : 1;
    for (unsigned y = 1; y + 1 < window->GetHeight(); ++y) {
        const auto above = grey_row(*window, y - 1), here = grey_row(*window, y), below = grey_row(*window, y + 1);
        const auto out = grey_row_to_write(*edge, y);
        for (std::size_t x = 1; x + 1 < here.size(); ++x) {
            const int rise =
                is_column
                    ? sobel_difference(above[x - 1], here[x - 1], below[x - 1], above[x + 1], here[x + 1], below[x + 1])
                    : sobel_difference(above[x - 1], above[x], above[x + 1], below[x - 1], below[x], below[x + 1]);
            const int strength = std::max(sign * rise, 0) / 4;  // at most 65535
            out[x] = static_cast<std::uint16_t>(here[x] >= kBrightestBackground ? strength : 0);
        }
    }
    return true;
}

void FrameDetector::FindCandidates(Image* edge, std::vector<FrameCandidate>& list, double step, int border) {
    const bool is_column = border == FRAME_LEFT || border == FRAME_RIGHT;
    const bool is_near = border == FRAME_LEFT || border == FRAME_TOP;
    const unsigned extent = is_column ? edge->GetWidth() : edge->GetHeight();
    std::vector<std::size_t> bin_of(extent);
    for (unsigned i = 0; i < extent; ++i) bin_of[i] = truncate_to<unsigned>(i / step);
    const std::size_t bins = truncate_to<unsigned>(extent / step + 0.5) + std::size_t{1};
    std::vector<int> count(bins), weight(bins);
    for (unsigned y = 0; y < edge->GetHeight(); ++y) {
        const auto row = grey_row(*edge, y);
        for (std::size_t x = 0; x < row.size(); ++x) {
            if (row[x] <= kFrameEdgeStrength) continue;
            const std::size_t bin = bin_of[is_column ? x : y];
            ++count[bin];
            weight[bin] += std::min(row[x] / kFrameEdgeStrength, kCappedStrength);
        }
    }

    const std::size_t start = is_near ? 0 : bins - 1;
    FrameCandidate none;
    none.position = static_cast<int>(start);
    none.weight = weight[start];
    list.assign(2, none);
    for (std::size_t i = 1; i + 1 < bins; ++i) {
        if (weight[i] < weight[i - 1] || weight[i] < weight[i + 1]) continue;
        // Between equal peaks the one farther from the border stays.
        const auto weaker = std::ranges::find_if(
            list, [&](const FrameCandidate& c) { return c.weight < weight[i] || (is_near && c.weight == weight[i]); });
        if (weaker == list.end()) continue;
        FrameCandidate peak;
        peak.position = static_cast<int>(i);
        peak.weight = weight[i];
        peak.coverage = count[i];
        list.insert(weaker, peak);
        list.pop_back();
    }
}

bool FrameDetector::EvaluateCandidate(Image* window, FrameCandidate& c, IMAGE_SIDE side, int border) {
    const int p = c.position;
    const auto width = static_cast<int>(window->GetWidth()), height = static_cast<int>(window->GetHeight());
    if (p < 2 || p >= width - 2) return false;
    const bool is_column = border == FRAME_LEFT || border == FRAME_RIGHT;
    const Strips s =
        is_column ? strips_of_column(p, width, height, border) : strips_of_row(p, width, height, border, side);

    MeanOfMaxima(window, s.maxima_x.first, s.maxima_x.last, s.maxima_y.first, s.maxima_y.last, border, c.frameMaxMean);
    RegionMeanVariance(window, s.outer_x.first, s.outer_x.last, s.outer_y.first, s.outer_y.last, c.outerMean,
                       c.outerVariance);
    RegionMeanVariance(window, s.inner_x.first, s.inner_x.last, s.inner_y.first, s.inner_y.last, c.innerMean,
                       c.innerVariance);
    c.outerArea = area_of(s.outer_x, s.outer_y);
    c.innerArea = area_of(s.inner_x, s.inner_y);

    // Welch's t [welch1947]: the strips differ in size and in noise; a pooled variance would let a noisy frame hide its
    // edge.
    const double t =
        (c.outerMean - c.innerMean) / std::sqrt(c.outerVariance / c.outerArea + c.innerVariance / c.innerArea);
    c.accepted = c.outerMean > kBrightestBackground && c.frameMaxMean > kFrameBrightness &&
                 c.coverage > kSmallestCoverage && t > kSmallestT;

    if (border == FRAME_TOP) {
        const float pixel_size = window->GetPixelSize();
        const bool has_scale = pixel_size != 0.0F && !std::isnan(pixel_size);
        const int deep = has_scale ? truncate_to<int>(kDeepTop_um / static_cast<double>(pixel_size)) : 0;
        if (p > deep && c.outerMean / c.frameMaxMean < kDeepTopUniformity) c.accepted = false;
    }
    return c.accepted;
}

void FrameDetector::RegionMeanVariance(Image* image, int x0, int x1, int y0, int y1, double& mean, double& variance) {
    const int end_x = std::min(x1, static_cast<int>(image->GetWidth()) - 1) + 1;
    const int end_y = std::min(y1, static_cast<int>(image->GetHeight()) - 1) + 1;
    std::uint64_t sum = 0, squares = 0, count = 0;
    for (int y = std::max(y0, 0); y < end_y; ++y) {
        const auto row = grey_row(*image, static_cast<unsigned>(y));
        for (int x = std::max(x0, 0); x < end_x; ++x) {
            const std::uint64_t v = row[static_cast<std::size_t>(x)];
            sum += v;
            squares += v * v;
            ++count;
        }
    }
    mean = static_cast<double>(sum) / static_cast<double>(count);
    variance = static_cast<double>(squares) / static_cast<double>(count) - mean * mean;
}

void FrameDetector::MeanOfMaxima(Image* image, int x0, int x1, int y0, int y1, int border, double& result) {
    const bool by_row = border == FRAME_LEFT || border == FRAME_RIGHT;
    const int lines = by_row ? y1 - y0 : x1 - x0;
    std::vector<int> maxima(static_cast<std::size_t>(std::max(lines, 0)), 0);  // an empty line counts as 0
    const int end_x = std::min(x1, static_cast<int>(image->GetWidth()));
    const int end_y = std::min(y1, static_cast<int>(image->GetHeight()));
    for (int y = std::max(y0, 0); y < end_y; ++y) {
        const auto row = grey_row(*image, static_cast<unsigned>(y));
        for (int x = std::max(x0, 0); x < end_x; ++x) {
            int& maximum = maxima[static_cast<std::size_t>(by_row ? y - y0 : x - x0)];
            maximum = std::max<int>(maximum, row[static_cast<std::size_t>(x)]);
        }
    }
    double sum = 0.0;
    for (const int maximum : maxima) sum += maximum;
    result = sum / static_cast<double>(maxima.size());
}

}  // namespace Norvane
