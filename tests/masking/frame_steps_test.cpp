// SPDX-License-Identifier: Apache-2.0
/// The steps of the frame search, each beside a plain definition.
#include "imaging/filter.h"
#include "imaging/image_copy.h"
#include "masking/frame_detector.h"
#include "model/pixels.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace Norvane::Tests {
namespace {

/// Filter, scale and clamp, pixel by pixel.
std::unique_ptr<Image> edge_image_by_filter(const Image& window, int border) {
    Image floats(FORMAT_FLOAT, 32, window.GetWidth(), window.GetHeight(), true);
    Image filtered(&floats, true);
    EXPECT_EQ(Utils::ImageCopy(&window, &floats), 0);
    const bool is_column = border == FRAME_LEFT || border == FRAME_RIGHT;
    EXPECT_EQ(Filter::ConvolveFixed(&floats, &filtered, is_column ? 2 : 3), 0);
    EXPECT_EQ(Filter::MultiplySFP(&filtered, border == FRAME_LEFT || border == FRAME_BOTTOM ? 0.25F : -0.25F), 0);
    const auto* values = reinterpret_cast<const float*>(filtered.GetBuffer());
    return grey_image(window.GetWidth(), window.GetHeight(), [&](unsigned x, unsigned y) {
        const bool is_inner = x > 0 && y > 0 && x + 1 < window.GetWidth() && y + 1 < window.GetHeight();
        if (!is_inner || grey(window, x, y) < 20000) return 0U;
        const float v = values[y * filtered.GetStride() + x];
        return static_cast<unsigned>(std::clamp(static_cast<int>(v), 0, 65535));
    });
}

/// A window of an image along one of its borders. Lines run along the border, counted from the left or the top.
struct SlowBorder {
    int border;
    bool left, is_column = border < 2, is_near = border % 2 == 0;
    int x0 = 0, x1 = 0, y0 = 0, y1 = 0, lines = 0, length = 0;
    std::unique_ptr<Image> window;

    SlowBorder(const Image& image, int which, IMAGE_SIDE side) : border(which), left(side == SIDE_CHEST_LEFT) {
        const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
        const double wide = static_cast<double>(0.4F);
        x0 = left ? 0 : 3 * width / 5, x1 = left ? 2 * width / 5 : width;
        if (border == FRAME_LEFT) x0 = 0, x1 = left ? width / 5 : static_cast<int>(wide * width);
        if (border == FRAME_RIGHT) x0 = left ? static_cast<int>((1.0 - wide) * width) : 4 * width / 5, x1 = width;
        y0 = border == FRAME_BOTTOM ? 4 * height / 5 : 0, y1 = border == FRAME_TOP ? height / 5 : height;
        lines = is_column ? x1 - x0 : y1 - y0, length = is_column ? y1 - y0 : x1 - x0;
        window =
            grey_image(static_cast<unsigned>(x1 - x0), static_cast<unsigned>(y1 - y0), [&](unsigned x, unsigned y) {
                return grey(image, x + static_cast<unsigned>(x0), y + static_cast<unsigned>(y0));
            });
        window->SetPixelSize(image.GetPixelSize());
    }
    [[nodiscard]] int at(const Image& of, int line, int i) const {
        const auto x = static_cast<unsigned>(is_column ? line : i), y = static_cast<unsigned>(is_column ? i : line);
        return static_cast<int>(grey(of, x, y));
    }

    /// Where the two strongest edges lie that cover more than a fifth of the length.
    [[nodiscard]] std::vector<int> edges() const {
        struct Peak {
            int bin = 0, weight = 0, count = 0;
        };
        const auto edge = edge_image_by_filter(*window, border);
        const int step = is_column ? 1 : 3, last_bin = (2 * lines + step) / (2 * step);
        std::vector<Peak> bins(static_cast<std::size_t>(last_bin) + 1), peaks;
        for (int line = 0; line < lines; ++line)
            for (int i = 0; i < length; ++i) {
                if (at(*edge, line, i) <= 2600) continue;
                Peak& bin = bins[static_cast<std::size_t>(line / step)];
                bin.weight += std::min(at(*edge, line, i) / 2600, 5);
                ++bin.count;
            }
        for (std::size_t i = 0; i < bins.size(); ++i) bins[i].bin = static_cast<int>(i);
        const Peak& start = is_near ? bins.front() : bins.back();
        peaks.assign(2, {start.bin, start.weight, 0});
        for (std::size_t i = 1; i + 1 < bins.size(); ++i)
            if (bins[i].weight >= std::max(bins[i - 1].weight, bins[i + 1].weight)) peaks.push_back(bins[i]);
        if (is_near) std::ranges::reverse(peaks);  // of equal ones the farther from the border
        std::ranges::stable_sort(peaks, std::greater{}, &Peak::weight);
        std::vector<int> found;
        for (const Peak& peak : {peaks[0], peaks[1]}) {
            int p = (is_near ? peak.bin + 1 : peak.bin - 1) * step;
            if (p < 0) p = std::max(lines - 1, 0);
            if (is_near && p >= lines) p = 0;
            if (peak.count * 100 / (length * step) > 20) found.push_back(p);
        }
        return found;
    }

    /// Whether the strips on either side of line `p` are those of a frame and a field.
    [[nodiscard]] bool is_frame(int p) const {
        if (p < 2 || p >= x1 - x0 - 2) return false;
        const int k = std::max(std::min(p, lines - p) / 2 + 1, 3), eighth = left ? 1 : 3;
        const int i0 = is_column ? length / 4 : eighth * length / 8;
        const int i1 = is_column ? 3 * length / 4 : (eighth + 4) * length / 8;
        int lower = std::max(p - k, 0), upper = std::min(p + k, lines - 1);
        if (border == FRAME_LEFT) lower = p / 2, upper = std::min(3 * p / 2 + 1, lines - 1);
        if (border == FRAME_TOP && lower < 7) lower = p >= 10 ? 7 : p >= 3 ? p - 3 : lower;
        const auto strip = [&](int first, int last) {  // mean, and variance by area
            double n = 0.0, sum = 0.0, squares = 0.0;
            for (int line = first; line <= last; ++line)
                for (int i = i0; i <= i1; ++i, ++n) {
                    const double v = at(*window, line, i);
                    sum += v;
                    squares += v * v;
                }
            return std::pair{sum / n, (squares / n - sum / n * (sum / n)) / n};
        };
        const auto outer = is_near ? strip(lower, p) : strip(p, upper);
        const auto inner = is_near ? strip(p, upper) : strip(lower, p);
        double maxima = 0.0;
        for (int i = i0; i < i1; ++i) {
            int largest = 0;
            for (int line = is_near ? 0 : p; line < (is_near ? p : lines); ++line)
                largest = std::max(largest, at(*window, line, i));
            maxima += largest;
        }
        maxima /= i1 - i0;
        const double t = (outer.first - inner.first) / std::sqrt(outer.second + inner.second);
        const bool is_deep = border == FRAME_TOP && p > 14000.0 / static_cast<double>(window->GetPixelSize());
        return outer.first > 20000.0 && maxima > 58981.0 && t > 13.4 && (!is_deep || outer.first / maxima >= 0.75);
    }
};

/// The last line of the field at a border.
int bound_slowly(const Image& image, int border, IMAGE_SIDE side) {
    const SlowBorder b(image, border, side);
    for (const int p : b.edges())
        if (b.is_frame(p)) return p + (b.is_column ? b.x0 : b.y0) + (b.is_near ? 0 : 1);
    return b.is_near ? 0 : static_cast<int>(b.is_column ? image.GetWidth() : image.GetHeight()) - 1;
}

/// The distance of the steepest rise of the mean grey level within `depth` lines of the border, 0 if none is steep.
int step_slowly(const Image& image, int border, int depth) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    if (std::min(width, height) <= depth) return 0;
    const int length = border < 2 ? height : width;
    const auto sum_of = [&](int line) {
        double sum = 0.0;
        for (int i = length / 10; i < length - length / 10; ++i)
            sum += border < 2 ? grey(image, static_cast<unsigned>(border == FRAME_LEFT ? line : width - 1 - line),
                                     static_cast<unsigned>(i))
                              : grey(image, static_cast<unsigned>(i), static_cast<unsigned>(line));
        return sum;
    };
    int at = 0;
    float best = 2600.0F;
    for (int k = 1; k < depth; ++k) {
        const auto rise = static_cast<float>((sum_of(k + 1) - sum_of(k - 1)) / (2.0 * (length - 2 * (length / 10))));
        if (rise > best) best = rise, at = k;
    }
    return at;
}

void remove_isolated_slowly(Image& image) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    if (width < 11 || height < 11) return;
    for (int y = 5; y <= height - 6; ++y) {
        for (int i = 5; i <= width - 6; ++i) {
            const int x = (y - 5) % 2 == 0 ? i : width - 1 - i;
            int count = 0;
            for (int v = y - 5; v <= y + 5; ++v)
                for (int u = x - 5; u <= x + 5; ++u)
                    count += grey(image, static_cast<unsigned>(u), static_cast<unsigned>(v)) >= 2600 ? 1 : 0;
            const auto px = static_cast<unsigned>(x), py = static_cast<unsigned>(y);
            if (grey(image, px, py) < 2600 || count < 5) set_grey(image, px, py, 0);
        }
    }
}

TEST(FrameSteps, IsolatedPointsGoInSerpentineOrder) {
    Random random(12);
    for (int round = 0; round < 60; ++round) {
        const unsigned width = 8 + random.below(90), height = 8 + random.below(30);
        const unsigned one_in = 10 + random.below(60);
        auto fast = grey_image(width, height, [&](unsigned, unsigned) {
            return random.chance(one_in) ? 2590 + random.below(40) : random.below(2600);
        });
        auto slow = grey_image(width, height, [&](unsigned x, unsigned y) { return grey(*fast, x, y); });
        FrameDetector(true).RemoveIsolatedPoints(fast.get());
        remove_isolated_slowly(*slow);
        ASSERT_EQ(pixels_of(*fast), pixels_of(*slow)) << width << " x " << height;
    }
}

TEST(FrameSteps, OnlyMaximaAcrossOrAlongAnEdgeStay) {
    Random random(13);
    constexpr unsigned kWidth = 70, kHeight = 30;
    auto edge = grey_image(kWidth, kHeight, [&](unsigned x, unsigned y) {
        if (x > 40) return random.chance(25) ? 2600U : random.below(2600);  // isolated points
        return (y % 9 == 0 ? 2300 : 2500) + random.below(200);
    });
    Image out(edge.get(), true), strip(edge.get(), true);
    FrameDetector(true).SuppressNonMaxima(edge.get(), &strip, &out);
    auto expected = grey_image(kWidth, kHeight, [&](unsigned x, unsigned y) {
        if (x == 0 || y == 0 || x == kWidth - 1 || y == kHeight - 1 || grey(*edge, x, y) < 2600) return 0U;
        const unsigned e = grey(*edge, x, y);
        const bool across = grey(*edge, x - 1, y) <= e && grey(*edge, x + 1, y) <= e;
        const bool along = grey(*edge, x, y - 1) <= e && grey(*edge, x, y + 1) <= e;
        return across || along ? e : 0U;
    });
    remove_isolated_slowly(*expected);
    EXPECT_EQ(pixels_of(out), pixels_of(*expected));
    Image narrow(FORMAT_UNSIGNED, 16, 10, kHeight, true);
    EXPECT_THROW(FrameDetector(true).SuppressNonMaxima(edge.get(), &narrow, &out), const char*);
}

TEST(FrameSteps, ProfilesAreSmoothedByMaximumAndMean) {
    FrameDetector detector(true);
    struct Case {
        const char* what;
        std::vector<int> depth;
        int first, last;
        std::vector<int> expected;
    };
    std::vector<int> outlier(30, 10), fixed(30, 14);
    outlier[20] = 110;  // mean 13.33, squared distance 28 variances
    fixed.assign(30, 10);
    for (int i = 16; i <= 24; ++i) fixed[static_cast<unsigned>(i)] = 13;  // the rounded mean, widened by the maximum
    std::vector<int> smoothed = fixed;
    for (int i = 4; i < 25; ++i) {  // the last four entries of the range, and one more, keep their maxima
        int sum = 0;
        for (int k = i - 4; k <= i + 4; ++k) sum += fixed[static_cast<unsigned>(k)];
        smoothed[static_cast<unsigned>(i)] = sum / 9;
    }
    const Case cases[] = {
        {"an outlier becomes the rounded mean", outlier, 0, 29, smoothed},
        {"too short for a window", {3, 3, 3, 3, 3, 3}, 1, 4, {3, 0, 0, 0, 0, 3}},
        {"shorter still", {3, 4, 3, 4}, 0, 3, {3, 4, 3, 4}},
        {"no rows", {3, 4, 3, 4, 3, 4, 3, 4, 3}, 5, 4, {3, 4, 3, 4, 3, 4, 3, 4, 3}},
    };
    for (const Case& c : cases) {
        std::vector<int> depth = c.depth;
        detector.SmoothProfile(depth, c.first, c.last);
        EXPECT_EQ(depth, c.expected) << c.what;
    }
}

/// Mean and population variance of columns first .. end - 1.
std::pair<double, double> moments(const Image& image, unsigned y, int first, int end) {
    double sum = 0.0, squares = 0.0;
    for (int x = first; x < end; ++x) {
        const double v = grey(image, static_cast<unsigned>(x), y);
        sum += v;
        squares += v * v;
    }
    const double mean = sum / (end - first);
    return {mean, squares / (end - first) - mean * mean};
}

int depth_slowly(const Image& edges, const Image& strip, int coarse, unsigned y) {
    const int width = static_cast<int>(strip.GetWidth());
    int start = 0;
    while (start < 7 && (start >= width || grey(strip, static_cast<unsigned>(start), y) < 39320)) ++start;
    const double reference = start < coarse ? moments(strip, y, start, std::min(coarse, width)).first : 0.0;
    start = std::max(start, coarse);
    int depth = coarse;
    for (int x = start + 2; x < width; ++x) {
        if (grey(edges, static_cast<unsigned>(x), y) <= 2600) continue;
        const int n = x - start;
        const auto [mean, variance] = moments(strip, y, start, x);
        if ((n - 1) * variance / 6760000.0 > 90.0 || (mean - reference) / 2600.0 < -0.741) break;
        if (variance < 1.0 && mean > 58981.0) {
            depth = x;
        } else if ((mean - 58981.0) / std::sqrt(variance / n) > 0.741) {
            const int first = std::max(x - 5, start), k = x - first;
            const auto [local, spread] = moments(strip, y, first, x);
            const double t1 = (local - mean) / std::sqrt(variance / (k - 1));
            const double t2 = (local - 58981.0) / std::sqrt(spread / (k - 1));
            if ((spread < 1.0 && local > 58981.0) || (t2 > -0.741 && -7.0 < t1 && t1 < 0.741)) depth = x;
        }
    }
    return depth;
}

TEST(FrameSteps, DepthsFollowThePlainScan) {
    Random random(17);
    int moved = 0;
    for (int round = 0; round < 400; ++round) {
        const unsigned width = 1 + random.below(90), frame_end = random.below(60);
        const unsigned noise = 1 + random.below(round % 3 == 0 ? 6000 : 300), one_in = 1 + random.below(20);
        const int coarse = random.between(0, round % 2 == 0 ? 5 : 40);
        // In some rows the scan stops where the frame is darker than before it, though it grows bright again.
        const bool has_dip = round % 5 == 0, has_holes = round % 7 == 0;  // holes for the sake of the variance
        const unsigned dull = random.below(9);  // columns about as bright as a frame may begin
        auto strip = grey_image(width, 1, [&](unsigned x, unsigned) {
            const int behind = static_cast<int>(x) - coarse;
            const unsigned rise = !has_dip ? 0 : behind < 0 ? 2050 : behind < 6 ? 40 : 1500;
            if (x < dull) return random.chance(4) ? 39320U : 39319U;
            if (has_holes && x < frame_end) return random.chance(8) ? 45000U : 61500 + random.below(4000);
            return (has_dip || x < frame_end ? 58950U + rise : 20000U) + random.below(noise);
        });
        auto edges = grey_image(
            width, 1, [&](unsigned, unsigned) { return 2599 + (random.chance(one_in) ? 2 : random.below(2)); });
        std::vector<int> depth(1);  // a single entry is not smoothed
        FrameDetector(true).DepthProfile(edges.get(), strip.get(), coarse, 0, 0, depth);
        ASSERT_EQ(depth[0], depth_slowly(*edges, *strip, coarse, 0)) << round;
        moved += depth[0] != coarse ? 1 : 0;
    }
    EXPECT_GT(moved, 50);
}

TEST(FrameSteps, RotationMovesEachPixel) {
    const std::vector<unsigned> expected[] = {
        {10, 0, 11, 1, 12, 2}, {2, 12, 1, 11, 0, 10}, {12, 11, 10, 2, 1, 0}, {2, 1, 0, 12, 11, 10}, {0, 0, 0, 0, 0, 0}};
    const auto check = [&]<class Sample>(Sample) {
        Image source(FORMAT_UNSIGNED, 8 * sizeof(Sample), 3, 2, true);
        for (unsigned i = 0; i < 6; ++i)
            row_of<Sample>(source, i / 3)[i % 3] = static_cast<Sample>(10 * (i / 3) + i % 3);
        for (int mode = 0; mode < 5; ++mode) {
            Image* raw = nullptr;
            FrameDetector(true).Rotate(&source, raw, mode);
            const std::unique_ptr<Image> turned(raw);
            EXPECT_EQ(turned->GetWidth(), mode < 2 ? 2U : 3U);
            std::vector<unsigned> samples;
            for (unsigned y = 0; y < turned->GetHeight(); ++y)
                std::ranges::copy(row_of<const Sample>(*turned, y), std::back_inserter(samples));
            EXPECT_EQ(samples, expected[mode]) << mode;
        }
    };
    check(std::uint8_t{});
    check(std::uint16_t{});
    check(std::uint32_t{});
}

/// The depths of one border as RefineFrame() finds them, by the steps that are tested above.
std::vector<int> depths_at(Image& image, FrameDetector& detector, int border, int coarse, int first_row, int last_row) {
    const auto b = static_cast<std::size_t>(border);
    Image strip(FORMAT_UNSIGNED, 16, detector.windowWidth[b], detector.windowHeight[b], true);
    Utils::ImageCopy(&image, &strip, detector.windowX[b], detector.windowY[b], 0, 0, strip.GetWidth(),
                     strip.GetHeight());
    constexpr int kModes[] = {3, 3, 1, 0};
    Image* raw = nullptr;
    detector.Rotate(&strip, raw, kModes[b]);
    std::unique_ptr<Image> turned(raw);
    if (border == FRAME_LEFT) detector.Rotate(turned.get(), raw, 3), turned.reset(raw);
    Image edge(turned.get(), true), thin(turned.get(), true);
    detector.EdgeImage(turned.get(), &edge, FRAME_LEFT);
    detector.SuppressNonMaxima(&edge, turned.get(), &thin);
    std::vector<int> depth(turned->GetHeight());
    if (border >= FRAME_TOP) first_row = 0, last_row = static_cast<int>(depth.size()) - 1;
    detector.DepthProfile(&thin, turned.get(), coarse, first_row, last_row, depth);
    return depth;
}

/// Each of the six ways to write depths into the image stands by itself: they are not mirror images of each other.
Bitmap field_slowly(Image& image, FrameDetector& detector, IMAGE_SIDE side, const std::array<int, 4>& rect) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    Bitmap field(image.GetWidth(), image.GetHeight());
    for (int y = rect[2]; y <= rect[3]; ++y)
        for (int x = rect[0]; x <= rect[1]; ++x) field.put(static_cast<unsigned>(x), static_cast<unsigned>(y));
    const auto take = [&](int y, int first, int last) {
        for (int x = first; x <= last && y >= 0 && y < height; ++x)
            field.set[static_cast<std::size_t>(y) * image.GetWidth() + static_cast<std::size_t>(x)] = false;
    };
    const bool left = side == SIDE_CHEST_LEFT;
    const auto chest = left ? depths_at(image, detector, FRAME_LEFT, rect[0], rect[2], rect[3])
                            : depths_at(image, detector, FRAME_RIGHT, width - rect[1] - 1, rect[2], rect[3]);
    for (int r = 0; r < height; ++r) {
        const int d = chest[static_cast<std::size_t>(r)];
        left ? take(r, 0, d - 1) : take(r, width - d, width - 1);
    }
    const auto top = depths_at(image, detector, FRAME_TOP, rect[2], 0, 0);
    const auto bottom = depths_at(image, detector, FRAME_BOTTOM, height - rect[3] - 1, 0, 0);
    const int n = static_cast<int>(top.size()), x0 = static_cast<int>(detector.windowX[FRAME_BOTTOM]);
    const auto at = [](const std::vector<int>& depth, int j) { return depth[static_cast<std::size_t>(j)]; };
    for (int y = 0; y <= (left ? top.front() : top.back()); ++y) take(y, 0, width - 1);
    for (int d = 0; d <= (left ? bottom.back() : bottom.front()); ++d) take(height - 1 - d, 0, width - 1);
    for (int j = 0; j + 1 < n; ++j) {
        if (left) {
            for (int y = at(top, j); y <= at(top, j + 1); ++y) take(y, 0, n - 2 - j);
            for (int d = at(bottom, j + 1); d < at(bottom, j); ++d) take(height - 1 - d, 0, j);
        } else {
            for (int y = at(top, j + 1); y <= at(top, j); ++y) take(y, width - 1 - j, width - 1);
            for (int d = at(bottom, j); d < at(bottom, j + 1); ++d) take(height - 1 - d, x0 + j, width - 1);
        }
    }
    return field;
}

/// Frames of any depth, some slanted, interrupted, hardly bright or uneven, on dark or bright ground; in some images
/// dark rims outside of them, some slanted.
std::unique_ptr<Image> framed(Random& random, IMAGE_SIDE side) {
    const int width = random.between(40, random.chance(4) ? 440 : 240),
              height = random.between(40, random.chance(4) ? 460 : 200);
    int depth[4], rim[4];
    for (int& d : depth) d = random.chance(4) ? 0 : random.between(0, (random.chance(3) ? 90 : 30));
    for (int& r : rim) r = random.chance(3) ? random.between(0, 25) : 0;
    const int slant = random.chance(2) ? 9999 : random.between(4, 40);
    const int frame_slant = random.chance(3) ? random.between(10, 40) : 9999;
    const unsigned bright = 58000 + random.below(7000), uneven = 1 + random.below(random.chance(4) ? 40000 : 3000);
    const unsigned dark = random.below(30000), noise = 1 + random.below(random.chance(3) ? 1 : 9000);
    const unsigned gap = random.chance(2) ? 1 : 2 + random.below(6);
    const auto is_in = [&](const int(&frame)[4], int shift, int x, int y) {
        const int from[4] = {x, width - 1 - x, y, height - 1 - y};
        return std::ranges::any_of(std::array{0, 1, 2, 3},
                                   [&](int i) { return frame[i] > 0 && from[i] < frame[i] + shift; });
    };
    return grey_image(
        static_cast<unsigned>(width), static_cast<unsigned>(height),
        [&](unsigned u, unsigned v) {
            const int x = static_cast<int>(u), y = static_cast<int>(v);
            if (is_in(rim, (x + y) / slant, x, y)) return random.below(20000);
            const int beside = side == SIDE_CHEST_LEFT ? width - 1 - x : x;
            if (!is_in(depth, (beside + y) / frame_slant, x, y) || (u / 8 + v / 8) % gap == 1)
                return dark + random.below(noise);
            return std::min(65535U, bright - random.below(uneven) + random.below(noise));
        },
        210.0F + static_cast<float>(random.below(40)));
}

TEST(FrameSteps, TheFieldLiesInsideEdgesStepsAndDepths) {
    Random random(16);
    int edges = 0, steps = 0, margins = 0;
    for (int round = 0; round < 200; ++round) {
        const IMAGE_SIDE side = round % 2 == 0 ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        const auto image = framed(random, side);
        const int width = static_cast<int>(image->GetWidth()), height = static_cast<int>(image->GetHeight());
        image->SetOffX(random.below(9));
        image->SetOffY(random.below(9));
        FrameDetector d(true);
        d.borderDepth = random.chance(2) ? 22 : 20;
        d.applyMargin = random.chance(2);
        d.refineOutline = random.chance(3);

        std::array<int, 4> b{};
        for (std::size_t border = 0; border < 4; ++border)
            b[border] = bound_slowly(*image, static_cast<int>(border), side);
        edges += (b[0] > 0) + (b[1] < width - 1) + (b[2] > 0) + (b[3] < height - 1);
        const int chest = step_slowly(*image, side == SIDE_CHEST_LEFT ? FRAME_LEFT : FRAME_RIGHT, d.borderDepth);
        const int top = step_slowly(*image, FRAME_TOP, d.borderDepth);
        if (side == SIDE_CHEST_LEFT) b[0] = std::max(b[0], chest);
        if (side == SIDE_CHEST_RIGHT && chest > 0) b[1] = std::min(b[1], width - 1 - chest);
        b[2] = std::max(b[2], top);
        steps += (chest > 0) + (top > 0);
        const int margin = static_cast<int>(20000.0 / static_cast<double>(image->GetPixelSize()) + 0.5);
        if (d.applyMargin && 2 * margin < width) {
            if (side == SIDE_CHEST_RIGHT && b[0] < margin / 2) b[0] = margin, ++margins;
            if (side == SIDE_CHEST_LEFT && b[1] > width - margin / 2) b[1] = width - margin - 1, ++margins;
        }
        Mask field = rectangle(1, 2, 3, 4), *out = &field;
        ASSERT_EQ(d.RemoveFrame(image.get(), out, side, VIEW_PECT), Masking::MASK_OK);
        std::vector<RowRun> expected;
        if (b[0] <= b[1] && b[2] <= b[3])
            expected = d.refineOutline
                           ? runs_of(mask_of(field_slowly(*image, d, side, b)))
                           : runs_of(rectangle(unsigned(b[0]), unsigned(b[1]), unsigned(b[2]), unsigned(b[3])));
        for (RowRun& r : expected)
            r = {r.row + image->GetOffY(), r.first + image->GetOffX(), r.last + image->GetOffX()};
        ASSERT_EQ(runs_of(field), expected) << round;
    }
    EXPECT_GT(edges, 100);
    EXPECT_GT(steps, 40);
    EXPECT_GT(margins, 10);
}

}  // namespace
}  // namespace Norvane::Tests
