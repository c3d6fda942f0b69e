// SPDX-License-Identifier: Apache-2.0
/// The steps of the frame search, each beside a plain definition.
#include "field/frame_detector.h"
#include "support/builders.h"
#include "support/test.h"

#include <numeric>

namespace Norvane::Tests {
namespace {

/// grey() and grey_image() in signed coordinates.
int at(const Image& image, int x, int y) {
    return static_cast<int>(grey(image, static_cast<unsigned>(x), static_cast<unsigned>(y)));
}
std::unique_ptr<Image> image_of(int width, int height, const std::function<int(int x, int y)>& level) {
    return grey_image(static_cast<unsigned>(width), static_cast<unsigned>(height), [&](unsigned x, unsigned y) {
        return static_cast<unsigned>(level(static_cast<int>(x), static_cast<int>(y)));
    });
}

/// An element by a signed index.
template <class Numbers>
auto& at(Numbers& numbers, int i) {
    return numbers[static_cast<std::size_t>(i)];
}

/// Mean and population variance of what is added.
struct Moments {
    double n = 0.0, sum = 0.0, squares = 0.0;

    void add(double v) { ++n, sum += v, squares += v * v; }
    [[nodiscard]] double mean() const { return sum / n; }
    [[nodiscard]] double variance() const { return squares / n - mean() * mean(); }
};

/// A quarter of the rise towards the border by Sobel's kernel, at bright pixels that are not outermost.
std::unique_ptr<Image> edges_slowly(const Image& image, int border) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    return image_of(width, height, [&](int x, int y) {
        if (x == 0 || y == 0 || x == width - 1 || y == height - 1 || at(image, x, y) < 20000) return 0;
        int rise = 0;  // towards the left or the top
        for (const int i : {-1, 0, 0, 1})
            rise += border < 2 ? at(image, x - 1, y + i) - at(image, x + 1, y + i)
                               : at(image, x + i, y - 1) - at(image, x + i, y + 1);
        return std::max(border % 2 == 0 ? rise : -rise, 0) / 4;
    });
}

/// Of the edge pixels those with few others around them go one after the other, in serpentine order.
void remove_isolated_slowly(Image& edge) {
    const int width = static_cast<int>(edge.GetWidth()), height = static_cast<int>(edge.GetHeight());
    for (int y = 5; y <= height - 6; ++y)
        for (int i = 5; i <= width - 6; ++i) {
            const int x = y % 2 != 0 ? i : width - 1 - i;
            int count = 0;
            for (int v = y - 5; v <= y + 5 && at(edge, x, y) >= 2600; ++v)
                for (int u = x - 5; u <= x + 5; ++u) count += at(edge, u, v) >= 2600 ? 1 : 0;
            if (count < 5) set_grey(edge, static_cast<unsigned>(x), static_cast<unsigned>(y), 0);
        }
}

/// Maxima across or along an edge, but isolated ones.
std::unique_ptr<Image> thinned_slowly(const Image& edge) {
    const int width = static_cast<int>(edge.GetWidth()), height = static_cast<int>(edge.GetHeight());
    auto thin = image_of(width, height, [&](int x, int y) {
        const int e = at(edge, x, y);
        if (x == 0 || y == 0 || x == width - 1 || y == height - 1 || e < 2600) return 0;
        const bool across = std::max(at(edge, x - 1, y), at(edge, x + 1, y)) <= e;
        return across || std::max(at(edge, x, y - 1), at(edge, x, y + 1)) <= e ? e : 0;
    });
    remove_isolated_slowly(*thin);
    return thin;
}

/// The last edge of a row that is still frame, or the coarse depth.
int depth_slowly(const Image& edges, const Image& strip, int coarse, int y) {
    const int width = static_cast<int>(strip.GetWidth());
    const auto moments = [&](int first, int end) {
        Moments m;
        for (int x = first; x < end; ++x) m.add(at(strip, x, y));
        return m;
    };
    int start = 0;
    while (start < 7 && (start >= width || at(strip, start, y) < 39320)) ++start;
    const double reference = start < coarse ? moments(start, std::min(coarse, width)).mean() : 0.0;
    start = std::max(start, coarse);
    int depth = coarse;
    for (int x = start + 2; x < width; ++x) {
        if (at(edges, x, y) <= 2600) continue;
        const Moments all = moments(start, x), local = moments(std::max(x - 5, start), x);
        if ((all.n - 1) * all.variance() / 6760000.0 > 90.0 || (all.mean() - reference) / 2600.0 < -0.741) break;
        if (all.variance() < 1.0 && all.mean() > 58981.0) {
            depth = x;
        } else if ((all.mean() - 58981.0) / std::sqrt(all.variance() / all.n) > 0.741) {
            const double against_all = (local.mean() - all.mean()) / std::sqrt(all.variance() / (local.n - 1));
            const double against_frame = (local.mean() - 58981.0) / std::sqrt(local.variance() / (local.n - 1));
            if ((local.variance() < 1.0 && local.mean() > 58981.0) ||
                (against_frame > -0.741 && -7.0 < against_all && against_all < 0.741))
                depth = x;
        }
    }
    return depth;
}

TEST(FrameSteps, DepthsFollowThePlainScan) {
    Random random(17);
    int moved = 0;
    for (int round = 0; round < 8000; ++round) {
        const int width = random.between(1, 120), coarse = random.between(0, round % 2 == 0 ? 5 : 40);
        const int noise = random.chance(4) ? 0 : random.between(0, round % 3 == 0 ? 6000 : 300);
        const unsigned one_in = 1 + random.below(20);
        // Stretches that are bright, hardly, no longer or again; holes for the sake of the variance.
        constexpr std::array kLevels{20000, 39319, 39320, 57000, 58950, 58990, 59200, 61000, 62000, 64000};
        const bool has_holes = random.chance(4);
        int level = 0, stretch = 0;
        const auto strip = image_of(width, 1, [&](int, int) {
            if (stretch-- == 0) level = kLevels[random.below(10)], stretch = random.between(0, 80);
            return has_holes && random.chance(8) ? 45000 : std::min(level + random.between(0, noise), 65535);
        });
        const auto edges =
            image_of(width, 1, [&](int, int) { return random.chance(one_in) ? 2601 : random.between(2599, 2600); });
        std::vector<int> depth(1);  // a single entry is not smoothed
        FrameDetector(true).DepthProfile(edges.get(), strip.get(), coarse, 0, 0, depth);
        ASSERT_EQ(depth[0], depth_slowly(*edges, *strip, coarse, 0)) << round;
        moved += depth[0] != coarse ? 1 : 0;
    }
    EXPECT_GT(moved, 500);
}

/// Outliers among entries first .. last become the mean; then each becomes the mean of the maxima around it, at the
/// ends of the range its own maximum.
std::vector<int> smoothed_slowly(std::vector<int> depth, int first, int last) {
    const int n = static_cast<int>(depth.size());
    first = std::max(first, 0), last = std::min(last, n - 1);
    if (first > last) return depth;
    Moments m;
    for (int i = first; i <= last; ++i) m.add(at(depth, i));
    std::replace_if(
        depth.begin() + first, depth.begin() + last + 1,
        [&](int d) { return (d - m.mean()) * (d - m.mean()) / std::max(m.variance(), 1.0) > 16.0; },
        static_cast<int>(m.mean() + 0.5));
    if (n < 5) return depth;
    std::vector<int> maxima(depth.size(), 0);  // they stay 0 where the profile is shorter than the window
    for (int i = 0; i < n && n >= 9; ++i) {
        const auto middle = depth.begin() + std::clamp(i, 4, n - 5);
        at(maxima, i) = *std::max_element(middle - 4, middle + 5);
    }
    for (int i = first; i <= last; ++i) {
        const auto own = maxima.begin() + i;
        const bool is_end = i < first + 4 || i >= last - 4;
        at(depth, i) = is_end ? *own : std::accumulate(own - 4, own + 5, 0) / 9;
    }
    return depth;
}

/// A window of an image along one of its borders. Lines run along the border, counted from the left or the top.
struct SlowBorder {
    int border, width, height;
    bool left, is_column = border < 2, is_near = border % 2 == 0;
    int x0, x1, y0, y1, lines, length;
    std::unique_ptr<Image> window;

    SlowBorder(const Image& image, int which, IMAGE_SIDE side)
        : border(which),
          width(static_cast<int>(image.GetWidth())),
          height(static_cast<int>(image.GetHeight())),
          left(side == SIDE_CHEST_LEFT) {
        const double wide = static_cast<double>(0.4F);
        x0 = left ? 0 : 3 * width / 5, x1 = left ? 2 * width / 5 : width;
        if (border == FRAME_LEFT) x0 = 0, x1 = left ? width / 5 : static_cast<int>(wide * width);
        if (border == FRAME_RIGHT) x0 = left ? static_cast<int>((1.0 - wide) * width) : 4 * width / 5, x1 = width;
        y0 = border == FRAME_BOTTOM ? 4 * height / 5 : 0, y1 = border == FRAME_TOP ? height / 5 : height;
        lines = is_column ? x1 - x0 : y1 - y0, length = is_column ? y1 - y0 : x1 - x0;
        window = image_of(x1 - x0, y1 - y0, [&](int x, int y) { return at(image, x0 + x, y0 + y); });
        window->SetPixelSize(image.GetPixelSize());
    }
    [[nodiscard]] int level(const Image& of, int line, int i) const {
        return is_column ? at(of, line, i) : at(of, i, line);
    }

    /// The last line of the field: of the two strongest edges the stronger one that a frame has.
    [[nodiscard]] int bound() const {
        const auto edge = edges_slowly(*window, border);
        const int step = is_column ? 1 : 3, last_bin = (2 * lines + step) / (2 * step);
        const auto bins = static_cast<std::size_t>(last_bin) + 1;
        std::vector<int> weight(bins), count(bins), peaks(2, is_near ? 0 : last_bin);
        for (int line = 0; line < lines; ++line)
            for (int i = 0; i < length; ++i)
                if (const int e = level(*edge, line, i); e > 2600) {
                    at(weight, line / step) += std::min(e / 2600, 5);
                    ++at(count, line / step);
                }
        const auto weight_of = [&](int bin) { return at(weight, bin); };
        for (int i = 1; i < last_bin; ++i)
            if (weight_of(i) >= std::max(weight_of(i - 1), weight_of(i + 1))) peaks.push_back(i);
        if (is_near) std::ranges::reverse(peaks);  // of equal ones the farther from the border
        std::ranges::stable_sort(peaks, std::greater{}, weight_of);
        for (const int bin : {peaks[0], peaks[1]}) {
            const int p = (is_near ? bin + 1 : bin - 1) * step;
            const bool is_inner = bin > 0 && bin < last_bin;
            if (is_inner && at(count, bin) * 100 / (length * step) > 20 && is_frame(p))
                return p + (is_column ? x0 : y0) + (is_near ? 0 : 1);
        }
        return is_near ? 0 : (is_column ? width : height) - 1;
    }

    /// Whether the strips on either side of line `p` are those of a frame and a field.
    [[nodiscard]] bool is_frame(int p) const {
        if (p < 2 || p >= std::min(lines, x1 - x0 - 2)) return false;
        const int k = std::max(std::min(p, lines - p) / 2 + 1, 3), eighth = left ? 1 : 3;
        const int i0 = is_column ? length / 4 : eighth * length / 8;
        const int i1 = is_column ? 3 * length / 4 : (eighth + 4) * length / 8;
        int lower = std::max(p - k, 0), upper = std::min(p + k, lines - 1);
        if (border == FRAME_LEFT) lower = p / 2, upper = std::min(3 * p / 2 + 1, lines - 1);
        if (border == FRAME_TOP && lower < 7) lower = p >= 10 ? 7 : p >= 3 ? p - 3 : lower;
        Moments outer, inner, maxima;
        for (int i = i0; i <= i1; ++i) {
            int largest = 0;  // between border and edge
            for (int line = 0; line < lines; ++line) {
                const int v = level(*window, line, i);
                if (line >= lower && line <= p) (is_near ? outer : inner).add(v);
                if (line >= p && line <= upper) (is_near ? inner : outer).add(v);
                if (is_near ? line < p : line >= p) largest = std::max(largest, v);
            }
            if (i < i1) maxima.add(largest);
        }
        const double t =
            (outer.mean() - inner.mean()) / std::sqrt(outer.variance() / outer.n + inner.variance() / inner.n);
        const bool is_deep = border == FRAME_TOP && p > 14000.0 / static_cast<double>(window->GetPixelSize());
        return outer.mean() > 20000.0 && maxima.mean() > 58981.0 && t > 13.4 &&
               (!is_deep || outer.mean() / maxima.mean() >= 0.75);
    }

    /// The depths of the frame, entry by entry of the window turned so that the border is its column 0.
    [[nodiscard]] std::vector<int> depths(int coarse, int first, int last) const {
        const auto strip = image_of(lines, length, [&](int d, int i) {
            return level(*window, is_near ? d : lines - 1 - d, border == FRAME_TOP ? length - 1 - i : i);
        });
        const auto edges = thinned_slowly(*edges_slowly(*strip, FRAME_LEFT));
        std::vector<int> depth(static_cast<std::size_t>(length), coarse);
        for (int i = first; i <= last; ++i) at(depth, i) = depth_slowly(*edges, *strip, coarse, i);
        return smoothed_slowly(depth, first, last);
    }

    /// The rows that the frame takes at the top or the bottom, by column of the image: from the innermost column of the
    /// window outwards they only become more. The row at a depth is taken at the top and in the innermost column.
    [[nodiscard]] std::vector<int> rows_taken(int coarse) const {
        const bool top = border == FRAME_TOP;
        const std::vector<int> depth = depths(coarse, 0, length - 1);
        const auto depth_of = [&](int x) { return at(depth, top ? x1 - 1 - x : x - x0); };
        const int out = left ? -1 : 1;
        int rows = depth_of(left ? x1 - 1 : x0) + 1;
        std::vector<int> taken(static_cast<std::size_t>(width), rows);
        for (int x = left ? x1 - 1 : x0; x >= x0 && x < x1; x += out) {
            // To the right at the bottom, rows begin at the shallower one of two columns.
            const bool looks_ahead = !top && !left && x + 1 < x1;
            rows = std::max(rows, depth_of(looks_ahead ? x + 1 : x) + (top ? 1 : 0));
            at(taken, x) = rows;
        }
        return taken;
    }
};

/// The distance of the steepest rise of the mean grey level within `depth` lines of the border, 0 if none is steep.
int step_slowly(const Image& image, int border, int depth) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    if (std::min(width, height) <= depth) return 0;
    const int length = border < 2 ? height : width;
    const auto sum_of = [&](int line) {
        double sum = 0.0;
        for (int i = length / 10; i < length - length / 10; ++i)
            sum += border < 2 ? at(image, border == FRAME_LEFT ? line : width - 1 - line, i) : at(image, i, line);
        return sum;
    };
    int steepest = 0;
    float best = 2600.0F;
    for (int k = 1; k < depth; ++k) {
        const auto rise = static_cast<float>((sum_of(k + 1) - sum_of(k - 1)) / (2.0 * (length - 2 * (length / 10))));
        if (rise > best) best = rise, steepest = k;
    }
    return steepest;
}

/// Frames of any depth, some slanted, interrupted, hardly bright or uneven, on dark or bright ground; in some images
/// dark rims outside of them, some slanted.
std::unique_ptr<Image> framed(Random& random, IMAGE_SIDE side) {
    const bool is_deep = random.chance(8);  // at the top, where a frame so deep must be evenly bright
    const int width = is_deep ? 240 : random.between(40, random.chance(4) ? 440 : 240);
    const int height = is_deep ? 460 : random.between(40, random.chance(4) ? 460 : 200);
    std::array<int, 4> depth, rim;
    for (int& d : depth) d = random.chance(4) ? 0 : random.between(0, random.chance(3) ? 90 : 30);
    for (int& r : rim) r = random.chance(3) ? random.between(0, 25) : 0;
    if (is_deep) depth[FRAME_TOP] = random.between(55, 85);
    if (random.chance(6))
        at(depth, side == SIDE_CHEST_LEFT ? 0 : 1) = width / 5 - random.between(0, 5);  // to the window's end
    // A frame may begin at 39320.
    const auto rim_levels = random.chance(3) ? std::pair(39318, 39321) : std::pair(0, 19999);
    const int slant = random.chance(2) ? 9999 : random.between(4, 40);
    const int frame_slant = random.chance(3) ? random.between(10, 40) : 9999;
    const int bright = random.between(58000, 64999), uneven = random.between(0, random.chance(4) ? 40000 : 3000);
    const int dark = random.between(0, 29999), noise = random.chance(3) ? 0 : random.between(0, 9000);
    const int gap = random.chance(2) ? 1 : random.between(2, 7);
    const auto is_in = [&](const std::array<int, 4>& frame, int shift, int x, int y) {
        const int from[4] = {x, width - 1 - x, y, height - 1 - y};
        return std::ranges::any_of(std::array{0, 1, 2, 3},
                                   [&](int i) { return at(frame, i) > 0 && from[i] < at(frame, i) + shift; });
    };
    auto image = image_of(width, height, [&](int x, int y) {
        if (is_in(rim, (x + y) / slant, x, y)) return random.between(rim_levels.first, rim_levels.second);
        const int beside = side == SIDE_CHEST_LEFT ? width - 1 - x : x;
        if (!is_in(depth, (beside + y) / frame_slant, x, y) || (x / 8 + y / 8) % gap == 1)
            return dark + random.between(0, noise);
        const int dimmed = is_deep ? std::min(1000 * y, 20000) : 0;
        return std::min(65535, bright - dimmed - random.between(0, uneven) + random.between(0, noise));
    });
    image->SetPixelSize(210.0F + static_cast<float>(random.below(40)));
    return image;
}

TEST(FrameSteps, TheFieldLiesInsideEdgesStepsAndDepths) {
    Random random(16);
    int edges = 0, steps = 0, margins = 0;
    for (int round = 0; round < 250; ++round) {
        const bool left = round % 2 == 0;
        const IMAGE_SIDE side = left ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        const auto image = framed(random, side);
        const int width = static_cast<int>(image->GetWidth()), height = static_cast<int>(image->GetHeight());
        const unsigned off_x = random.below(9), off_y = random.below(9);
        image->SetOffX(off_x);
        image->SetOffY(off_y);
        FrameDetector d(true);
        d.borderDepth = random.chance(2) ? 22 : 20;
        d.applyMargin = random.chance(2);
        d.refineOutline = random.chance(3);

        const std::array<SlowBorder, 4> borders{
            SlowBorder(*image, FRAME_LEFT, side), SlowBorder(*image, FRAME_RIGHT, side),
            SlowBorder(*image, FRAME_TOP, side), SlowBorder(*image, FRAME_BOTTOM, side)};
        int first = borders[0].bound(), last = borders[1].bound(), top = borders[2].bound(),
            bottom = borders[3].bound();
        edges += (first > 0) + (last < width - 1) + (top > 0) + (bottom < height - 1);
        const int chest = step_slowly(*image, left ? FRAME_LEFT : FRAME_RIGHT, d.borderDepth);
        const int step = step_slowly(*image, FRAME_TOP, d.borderDepth);
        steps += (chest > 0) + (step > 0);
        if (left) first = std::max(first, chest);
        if (!left && chest > 0) last = std::min(last, width - 1 - chest);
        top = std::max(top, step);
        const int margin = static_cast<int>(20000.0 / static_cast<double>(image->GetPixelSize()) + 0.5);
        if (d.applyMargin && 2 * margin < width) {
            if (!left && first < margin / 2) first = margin, ++margins;
            if (left && last > width - margin / 2) last = width - margin - 1, ++margins;
        }
        std::vector<int> beside(image->GetHeight()), above(image->GetWidth()), below(image->GetWidth());
        if (d.refineOutline && first <= last && top <= bottom) {
            beside = borders[left ? 0 : 1].depths(left ? first : width - 1 - last, top, bottom);
            above = borders[2].rows_taken(top);
            below = borders[3].rows_taken(height - 1 - bottom);
        }
        Bitmap expected(image->GetWidth() + 20, image->GetHeight() + 20);
        for (int y = top; y <= bottom; ++y)
            for (int x = first; x <= last; ++x)
                if ((left ? x : width - 1 - x) >= at(beside, y) && y >= at(above, x) && height - 1 - y >= at(below, x))
                    expected.put(static_cast<unsigned>(x) + off_x, static_cast<unsigned>(y) + off_y);
        Mask field = rectangle(1, 2, 3, 4), *out = &field;
        ASSERT_EQ(d.RemoveFrame(image.get(), out, side, VIEW_PECT), Masking::MASK_OK);
        ASSERT_TRUE(bitmap_of(field, expected.width, expected.height) == expected) << round;
    }
    EXPECT_GT(edges, 100);
    EXPECT_GT(steps, 40);
    EXPECT_GT(margins, 10);
}

TEST(FrameSteps, RotationMovesEachPixel) {
    const std::vector<std::uint16_t> expected[] = {
        {10, 0, 11, 1, 12, 2}, {2, 12, 1, 11, 0, 10}, {12, 11, 10, 2, 1, 0}, {2, 1, 0, 12, 11, 10}, {0, 0, 0, 0, 0, 0}};
    const auto source = grey_image(3, 2, [](unsigned x, unsigned y) { return 10 * y + x; });
    for (int mode = 0; mode < 5; ++mode) {
        Image* raw = nullptr;
        FrameDetector(true).Rotate(source.get(), raw, mode);
        const std::unique_ptr<Image> turned(raw);
        EXPECT_EQ(turned->GetWidth(), mode < 2 ? 2U : 3U);
        EXPECT_EQ(pixels_of(*turned), expected[mode]) << mode;
    }
}

}  // namespace
}  // namespace Norvane::Tests
