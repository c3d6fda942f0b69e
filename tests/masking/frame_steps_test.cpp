// SPDX-License-Identifier: Apache-2.0
/// The steps of the frame search, each beside a plain definition.
#include "imaging/filter.h"
#include "imaging/image_copy.h"
#include "masking/frame_detector.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

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
        const unsigned width = 1 + random.below(20), height = 1 + random.below(20);
        auto window = grey_image(width, height, [&](unsigned, unsigned) {
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
        const unsigned width = 8 + random.below(30), height = 8 + random.below(30);
        auto fast = random_edges(random, width, height, 10 + random.below(60));
        auto slow = grey_image(width, height, [&](unsigned x, unsigned y) { return grey(*fast, x, y); });
        FrameDetector(true).RemoveIsolatedPoints(fast.get());
        remove_isolated_slowly(*slow);
        ASSERT_EQ(pixels_of(*fast), pixels_of(*slow)) << width << " x " << height;
    }
}

TEST(FrameSteps, OnlyMaximaAcrossOrAlongAnEdgeStay) {
    Random random(13);
    auto edge = grey_image(30, 30, [&](unsigned, unsigned) { return 2500 + random.below(200); });
    Image out(edge.get(), true), strip(edge.get(), true);
    FrameDetector(true).SuppressNonMaxima(edge.get(), &strip, &out);
    auto expected = grey_image(30, 30, [&](unsigned x, unsigned y) {
        if (x == 0 || y == 0 || x == 29 || y == 29 || grey(*edge, x, y) < 2600) return 0U;
        const unsigned e = grey(*edge, x, y);
        const bool across = grey(*edge, x - 1, y) <= e && grey(*edge, x + 1, y) <= e;
        const bool along = grey(*edge, x, y - 1) <= e && grey(*edge, x, y + 1) <= e;
        return across || along ? e : 0U;
    });
    remove_isolated_slowly(*expected);
    EXPECT_EQ(pixels_of(out), pixels_of(*expected));
    Image narrow(FORMAT_UNSIGNED, 16, 10, 30, true);
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

}  // namespace
}  // namespace Norvane::Tests
