// SPDX-License-Identifier: Apache-2.0
/// The steps of the frame search, each beside a plain definition.
#include "imaging/filter.h"
#include "imaging/image_copy.h"
#include "masking/frame_detector.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace Norvane::Tests {
namespace {

std::unique_ptr<Image> random_edges(Random& random, unsigned width, unsigned height, unsigned one_in) {
    return grey_image(width, height, [&](unsigned, unsigned) {
        return random.chance(one_in) ? 2590 + random.below(40) : random.below(2600);
    });
}

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

TEST(FrameSteps, EdgesAreTheScaledFilterWhereThePixelIsBright) {
    Random random(11);
    for (int round = 0; round < 40; ++round) {
        const unsigned width = 1 + random.below(round % 4 == 0 ? 400 : 20), height = 1 + random.below(20);
        const unsigned dark_from = random.below(width), dark_to = random.below(width);
        auto window = grey_image(width, height, [&](unsigned x, unsigned) {
            if (x >= dark_from && x < dark_to) return random.chance(2) ? 20000 : random.below(20000);
            return random.chance(3) ? 65535 * random.below(2) : random.below(65536);
        });
        for (int border = 0; border < 4; ++border) {
            auto edge = grey_image(width, height, [](unsigned, unsigned) { return 9U; });
            ASSERT_TRUE(FrameDetector(true).EdgeImage(window.get(), edge.get(), border));
            ASSERT_EQ(pixels_of(*edge), pixels_of(*edge_image_by_filter(*window, border))) << border;
        }
    }
    Image other(FORMAT_UNSIGNED, 16, 3, 3, true);
    EXPECT_FALSE(FrameDetector(true).EdgeImage(grey_image(4, 4).get(), &other, FRAME_LEFT));
}

TEST(FrameSteps, TheTwoStrongestPeaksAreCandidates) {
    struct Case {
        const char* what;
        int border;
        std::vector<std::pair<unsigned, unsigned>> columns;  // column, strength of its 10 pixels
        int position[2], weight[2];
    };
    const Case cases[] = {
        {"by weight", FRAME_LEFT, {{5, 2601}, {9, 3 * 2600}, {15, 2 * 2600}}, {9, 15}, {30, 20}},
        {"capped", FRAME_RIGHT, {{5, 65535}, {9, 5 * 2600}}, {5, 9}, {50, 50}},
        {"equal, left: the later first", FRAME_LEFT, {{5, 3000}, {9, 3000}, {12, 3000}}, {12, 9}, {10, 10}},
        {"equal, right: the earlier first", FRAME_RIGHT, {{5, 3000}, {9, 3000}, {12, 3000}}, {5, 9}, {10, 10}},
        {"too weak", FRAME_RIGHT, {{5, 2600}}, {20, 20}, {0, 0}},
    };
    for (const Case& c : cases) {
        auto edge = grey_image(20, 10);
        for (const auto& [x, strength] : c.columns)
            for (unsigned y = 0; y < 10; ++y) set_grey(*edge, x, y, strength);
        std::vector<FrameCandidate> list;
        FrameDetector(true).FindCandidates(edge.get(), list, 1.0, c.border);
        ASSERT_EQ(list.size(), 2U);
        for (unsigned i = 0; i < 2; ++i) {
            EXPECT_EQ(list[i].position, c.position[i]) << c.what;
            EXPECT_EQ(list[i].weight, c.weight[i]) << c.what;
            EXPECT_EQ(list[i].coverage, c.weight[i] > 0 ? 10 : 0) << c.what;
        }
    }
    // Rows are gathered by three: rows 6 and 8 in bin 2.
    auto edge = grey_image(10, 20);
    for (unsigned x = 0; x < 10; ++x) set_grey(*edge, x, 6, 3000), set_grey(*edge, x, 8, 3000);
    std::vector<FrameCandidate> list;
    FrameDetector(true).FindCandidates(edge.get(), list, 3.0, FRAME_BOTTOM);
    EXPECT_EQ(list[0].position, 2);
    EXPECT_EQ(list[0].coverage, 20);
    EXPECT_EQ(list[1].position, 7) << "the start bin, trunc(20 / 3 + 0.5)";
}

TEST(FrameSteps, ProfilesCountEachEdgePixel) {
    Random random(15);
    for (int round = 0; round < 40; ++round) {
        const int border = round % 4;
        const unsigned width = 3 + random.below(90), height = 3 + random.below(90), one_in = 1 + random.below(30);
        const double step = border < 2 ? 1.0 : 3.0;
        auto edge = grey_image(width, height, [&](unsigned, unsigned) {
            return random.chance(one_in) ? 2600 * random.below(8) + random.below(2) : random.below(2600);
        });
        std::vector<int> count(100), weight(100);
        for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x) {
                const auto bin = static_cast<std::size_t>((border < 2 ? x : y) / step);
                if (grey(*edge, x, y) <= 2600) continue;
                ++count[bin];
                weight[bin] += std::min(static_cast<int>(grey(*edge, x, y)) / 2600, 5);
            }
        std::vector<FrameCandidate> list;
        FrameDetector(true).FindCandidates(edge.get(), list, step, border);
        const unsigned last_bin = border < 2 ? width : (2 * height + 3) / 6;  // a third of the rows, rounded
        const int start = border % 2 == 0 ? 0 : static_cast<int>(last_bin);
        for (const FrameCandidate& c : list) {
            const auto bin = static_cast<std::size_t>(c.position);
            EXPECT_EQ(c.weight, weight[bin]);
            EXPECT_TRUE(c.coverage == count[bin] || (c.position == start && c.coverage == 0));
        }
    }
}

TEST(FrameSteps, StripsAreMeasuredPixelByPixel) {
    Random random(16);
    for (int round = 0; round < 40; ++round) {
        const int width = random.between(1, 100), height = random.between(1, 20);
        auto image = grey_image(static_cast<unsigned>(width), static_cast<unsigned>(height),
                                [&](unsigned, unsigned) { return random.below(65536); });
        const int x0 = random.between(0, width - 1), x1 = random.between(x0, width - 1);
        const int y0 = random.between(0, height - 1), y1 = random.between(y0, height - 1);
        std::vector<unsigned> by_row(static_cast<std::size_t>(y1 - y0 + 1)),
            by_column(static_cast<std::size_t>(x1 - x0 + 1));
        double sum = 0.0, squares = 0.0;
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const unsigned v = grey(*image, static_cast<unsigned>(x), static_cast<unsigned>(y));
                sum += v;
                squares += static_cast<double>(v) * v;
                for (unsigned* m :
                     {&by_row[static_cast<std::size_t>(y - y0)], &by_column[static_cast<std::size_t>(x - x0)]})
                    *m = std::max(*m, v);
            }
        const double n = static_cast<double>(x1 - x0 + 1) * (y1 - y0 + 1);
        double mean = 0.0, variance = 0.0, row_maxima = 0.0, column_maxima = 0.0;
        FrameDetector detector(true);
        detector.RegionMeanVariance(image.get(), x0, x1, y0, y1, mean, variance);
        detector.MeanOfMaxima(image.get(), x0, x1 + 1, y0, y1 + 1, FRAME_RIGHT, row_maxima);
        detector.MeanOfMaxima(image.get(), x0, x1 + 1, y0, y1 + 1, FRAME_TOP, column_maxima);
        EXPECT_EQ(mean, sum / n);
        EXPECT_EQ(variance, squares / n - mean * mean);
        EXPECT_EQ(row_maxima, std::accumulate(by_row.begin(), by_row.end(), 0.0) / (y1 - y0 + 1));
        EXPECT_EQ(column_maxima, std::accumulate(by_column.begin(), by_column.end(), 0.0) / (x1 - x0 + 1));
    }
}

TEST(FrameSteps, AcceptanceIsOnlyEverGranted) {
    auto flat = grey_image(40, 40, [](unsigned, unsigned) { return 30000U; });
    FrameCandidate c;
    c.position = 20;
    EXPECT_FALSE(FrameDetector(true).EvaluateCandidate(flat.get(), c, SIDE_CHEST_LEFT, FRAME_LEFT));
    c.accepted = true;
    EXPECT_TRUE(FrameDetector(true).EvaluateCandidate(flat.get(), c, SIDE_CHEST_LEFT, FRAME_LEFT));
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
        auto fast = random_edges(random, width, height, 10 + random.below(60));
        auto slow = grey_image(width, height, [&](unsigned x, unsigned y) { return grey(*fast, x, y); });
        FrameDetector(true).RemoveIsolatedPoints(fast.get());
        remove_isolated_slowly(*slow);
        ASSERT_EQ(pixels_of(*fast), pixels_of(*slow)) << width << " x " << height;
    }
}

TEST(FrameSteps, OnlyMaximaAcrossOrAlongAnEdgeStay) {
    Random random(13);
    constexpr unsigned kWidth = 70, kHeight = 30;
    auto edge = grey_image(kWidth, kHeight,
                           [&](unsigned, unsigned y) { return (y % 9 == 0 ? 2300 : 2500) + random.below(200); });
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
        {"constant", std::vector<int>(20, 7), 0, 19, std::vector<int>(20, 7)},
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

TEST(FrameSteps, DepthsEndAtTheLastEdgeThatIsStillFrame) {
    constexpr unsigned kWidth = 40, kHeight = 12;
    struct Case {
        const char* what;
        unsigned frame_grey, dark_start, edge_at;
        int coarse, expected;
    };
    const Case cases[] = {
        {"a flat bright frame", 60000, 0, 20, 5, 20},         {"not bright enough", 58000, 0, 20, 5, 5},
        {"a dark start is passed over", 60000, 6, 20, 3, 20}, {"no edge beyond the coarse depth", 60000, 0, 4, 5, 5},
        {"one pixel passed is too few", 60000, 0, 6, 5, 5},   {"two are enough", 60000, 0, 7, 5, 7},
    };
    for (const Case& c : cases) {
        auto strip = grey_image(kWidth, kHeight, [&](unsigned x, unsigned) {
            return x < c.dark_start ? 100U : x <= c.edge_at ? c.frame_grey : 1000U;
        });
        auto edges = grey_image(kWidth, kHeight);
        for (unsigned y = 0; y < kHeight; ++y) set_grey(*edges, c.edge_at, y, 2601);
        std::vector<int> depth(kHeight);
        FrameDetector(true).DepthProfile(edges.get(), strip.get(), c.coarse, 0, kHeight - 1, depth);
        EXPECT_EQ(depth, std::vector<int>(kHeight, c.expected)) << c.what;
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
        const bool has_dip = round % 5 == 0;
        auto strip = grey_image(width, 1, [&](unsigned x, unsigned) {
            const int behind = static_cast<int>(x) - coarse;
            const unsigned rise = !has_dip ? 0 : behind < 0 ? 2050 : behind < 6 ? 40 : 1500;
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
    auto source = grey_image(3, 2, [](unsigned x, unsigned y) { return 10 * y + x; });
    const std::vector<std::uint16_t> expected[] = {
        {10, 0, 11, 1, 12, 2}, {2, 12, 1, 11, 0, 10}, {12, 11, 10, 2, 1, 0}, {2, 1, 0, 12, 11, 10}};
    for (int mode = 0; mode < 4; ++mode) {
        Image* raw = nullptr;
        FrameDetector(true).Rotate(source.get(), raw, mode);
        const std::unique_ptr<Image> turned(raw);
        EXPECT_EQ(turned->GetWidth(), mode < 2 ? 2U : 3U);
        EXPECT_EQ(pixels_of(*turned), expected[mode]) << mode;
    }
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

TEST(FrameSteps, RefinementTakesTheDepthsOfThreeBorders) {
    Random random(18);
    for (int round = 0; round < 12; ++round) {
        const IMAGE_SIDE side = round % 2 == 0 ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        const unsigned depth = 3 + random.below(5), slope = 10 + random.below(30);
        auto image = grey_image(110, 130, [&](unsigned x, unsigned y) {
            const unsigned beside =
                side == SIDE_CHEST_LEFT ? 109 - x : x;  // the frame is deeper towards the chest wall
            const unsigned d = depth + (beside + y) / slope;
            const bool in_frame = x < d || x + d >= 110 || y < d || y + d >= 130;
            return (in_frame ? 59500U : 9000U) + random.below(200);
        });
        const std::array<int, 4> rect{3, 106, 2, 127};
        Mask coarse = rectangle(3, 106, 2, 127), field;
        Mask* out = &field;
        FrameDetector detector(true);
        detector.RefineFrame(image.get(), &coarse, side, out);
        const Bitmap expected = field_slowly(*image, detector, side, rect);
        ASSERT_EQ(bitmap_of(field, 110, 130), expected) << round;
    }
}

}  // namespace
}  // namespace Norvane::Tests
