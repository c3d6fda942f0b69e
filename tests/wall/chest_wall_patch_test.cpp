// SPDX-License-Identifier: Apache-2.0
#include "imaging/filter.h"
#include "imaging/image_copy.h"
#include "imaging/mask_utils.h"
#include "model/numbers.h"
#include "rules/noise_class.h"
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

struct Patch {
    double fraction = 0.0;
    std::vector<std::uint16_t> pixels;
};

/// The half ellipse that is patched: its width at the wall's side, and its rows.
struct Ellipse {
    int extent, top, centre, bottom;
};

/// Every pixel of the image is asked whether it is counted.
Ellipse plain_ellipse(const Image& image, const Mask& frame, const OpenMasking& m) {
    const int w = static_cast<int>(image.GetWidth()), h = static_cast<int>(image.GetHeight());
    const int side = m.params.side, level = m.backgroundNoiseLevel, frame_top = static_cast<int>(frame.GetMinY());
    const bool muscle = m.params.view == VIEW_PECT, high = m.params.bgNoise == BG_FIXED_HIGH;
    const double ps = static_cast<double>(image.GetPixelSize());
    const int band = truncate_to<int>(
        (static_cast<double>(static_cast<float>(w) * image.GetPixelSize()) > 198000.0 ? 35000.0 : 20000.0) / ps + 0.5);
    const int left = static_cast<int>(frame.GetMinX()) + band + (side == 0 ? band / 2 : 0);
    const int right = static_cast<int>(frame.GetMaxX()) - band - (side == 1 ? band / 2 : 0);
    std::map<int, int> columns, rows;  // how many pixels are counted in each
    for (int y = band; y < h - band; ++y) {
        const double v = (h * 0.5 - y) / (h * 0.5), reach = std::sqrt(1 - v * v) * (right - left);
        for (int x = 0; x < w && right > left; ++x) {
            if (x < (side == 0 ? truncate_to<int>(right - reach + 0.5) : left)) continue;
            if (x >= (side == 1 ? truncate_to<int>(left + reach + 0.5) : right)) continue;
            const auto p = static_cast<int>(grey(image, static_cast<unsigned>(x), static_cast<unsigned>(y)));
            if (p <= level || p >= 54000) continue;
            ++columns[x], ++rows[y];
        }
    }
    const auto peak = [](const std::map<int, int>& counts, int size) {
        return counts.empty() ? size / 2
                              : std::ranges::max_element(counts, {}, [](auto& n) { return n.second; })->first;
    };
    int extent = w / 2, bottom = h - 1;
    for (int x = peak(columns, w); x >= 0 && x < w; x += side == 1 ? 1 : -1) {
        if (columns[x] >= 160) continue;
        extent = side == 1 ? x : w - x;
        break;
    }
    const int peak_row = peak(rows, h);
    for (int y = h - 1; y >= peak_row; --y) bottom = rows[y] < 160 ? y : bottom;
    int top = 0, centre = peak_row;
    if (muscle && !high) {
        centre = std::max(peak_row - truncate_to<int>(std::tan(0.08726646259971647) * extent + 0.5), frame_top);
        top = 2 * centre - bottom;
        if (top < frame_top) {
            top = frame_top;
            centre = (frame_top + bottom) / 2;
        } else {
            top = std::min(top, h / 2);
        }
    } else {
        for (int y = 1; y <= peak_row; ++y) top = rows[y] < 160 ? y : top;
        if (muscle) centre = (bottom + top) / 2;
    }
    return {extent, top, centre, bottom};
}

/// The patch by its definition: every pixel of the image is asked whether it is raised. `image` is already cut to the
/// frame; the result is not blurred.
Patch plain_patch(const Image& image, const Mask& frame, const OpenMasking& m) {
    const int w = static_cast<int>(image.GetWidth()), h = static_cast<int>(image.GetHeight());
    const int side = m.params.side, level = m.backgroundNoiseLevel;
    const bool muscle = m.params.view == VIEW_PECT, high = m.params.bgNoise == BG_FIXED_HIGH;
    Patch patch{0.0, pixels_of(image)};
    const auto [extent, top, centre, bottom] = plain_ellipse(image, frame, m);
    if (bottom - top < h / 10 || extent < w / 10 || side < 0 || side > 1) return patch;

    const double a = high ? 0.9 : 0.85, b = !muscle ? 1.0 : high ? 0.9 : 0.8;
    const double across = a * extent, up = a * (centre - top) * b, down = a * (bottom - centre) * b;
    int raised = 0;
    for (int y = 0; y < h; ++y) {
        const double half = y < centre ? up : down, dy = std::abs(y - centre);
        if (y < centre ? y < centre - static_cast<int>(up) : y >= centre + static_cast<int>(down)) continue;
        const double width = across * std::sqrt(1 - dy * dy / (half * half));
        const int n = truncate_to<int>(width + 0.5), s0 = truncate_to<int>(w - width + 0.5);
        for (int x = 0; x < w; ++x) {
            if (side == 1 ? x >= n : x <= s0) continue;
            std::uint16_t& p = patch.pixels[static_cast<std::size_t>(y * w + x)];
            if (p == 0 || p >= level) continue;
            const int wall = m.contourState->centreColumn, middle = side == 1 ? n / 2 : (s0 + w) / 2;
            const int near = truncate_to<int>(static_cast<double>(static_cast<float>(level) * 1.12F) + 0.5);
            p = static_cast<std::uint16_t>((side == 1 ? x < wall : x > wall)       ? p + near
                                           : (side == 1 ? x < middle : x > middle) ? p + level
                                                                                   : level);
            ++raised;
        }
    }
    const double area = kPi * across * up * 0.25 + kPi * across * down * 0.25;
    patch.fraction = area == 0 ? 0.0 : raised / area;
    return patch;
}

TEST(ChestWallPatch, EqualsItsDefinition) {
    Random random(8);
    std::multiset<int> raised;
    for (int round = 0; round < 60; ++round) {
        constexpr BG_NOISE kClasses[] = {BG_AUTO, BG_AUTO, BG_FIXED_HIGH, BG_FIXED_HIGH, BG_AUTO, BG_MG_RAW_3, BG_MG};
        OpenMasking m;
        const int side = random.chance(10) ? 2 : random.between(0, 1), view = random.between(0, 1);
        m.params = params_for(side, view, kClasses[random.below(7)]);
        m.backgroundNoiseLevel = static_cast<unsigned short>(random.chance(8) ? 65535 : random.between(1000, 40000));
        m.blurSize = random.between(1, 2);
        m.contourState = new ContourState;
        const unsigned width = 300 + random.below(100), height = 400 + random.below(200);
        m.contourState->centreColumn = static_cast<unsigned short>(random.below(random.chance(4) ? 65536 : width));
        const unsigned bright = m.backgroundNoiseLevel + random.below(20000), holes = 2 + random.below(9),
                       lit = width / 3 + random.below(width), low = random.below(height / 3);
        Mask frame =
            rectangle(random.below(20), width - 1 - random.below(20), random.below(random.chance(3) ? 150 : 30),
                      height - 1 - random.below(30), 800.0F);  // coarse: room between the bands
        const auto image = grey_image(width, height, [&](unsigned x, unsigned y) {
            const bool is_lit = (m.params.side == 1 ? x < lit : x + lit > width) && y > low && y < height - low;
            return is_lit && !random.chance(holes) ? bright : random.below(random.chance(100) ? 65536 : 9000);
        });
        image->SetPixelSize(800.0F);
        Image masked(image.get(), true);
        Utils::ImageCopy(image.get(), &masked);
        Utils::ApplyMask(&masked, &frame);

        Patch expected = plain_patch(masked, frame, m);
        if (rules_of(m.params.bgNoise).has_padding) expected = {0.0, pixels_of(masked)};
        const auto out = grey_image(width, height), blurred = grey_image(width, height);
        Image* patched = out.get();
        EXPECT_EQ(expected.fraction, m.patch_chestwall(image.get(), &frame, patched)) << round;
        for (unsigned i = 0; i < width * height; ++i) set_grey(masked, i % width, i / width, expected.pixels[i]);
        Filter::Blur(&masked, blurred.get(), m.blurSize, m.blurSize, m.blurSize / 2, m.blurSize / 2);
        Utils::ApplyMask(blurred.get(), &frame);
        EXPECT_EQ(pixels_of(*blurred), pixels_of(*out)) << round;
        raised.insert(expected.fraction == 0.0 ? 0 : m.params.side == 0 ? 1 : 2);
    }
    for (const int kind : {0, 1, 2}) EXPECT_GT(raised.count(kind), 5U) << kind;
}

TEST(ChestWallPatch, FindsFieldCentreAndThresholdsByItself) {
    const auto image = grey_image(700, 800, [](unsigned x, unsigned y) {
        const double r = std::hypot(699 - x, y - 400.0);
        return r < 160 ? 8000U : r < 580 ? 30000U : 1000U + (x * 7 + y * 13) % 500;
    });
    const auto p = params_for(SIDE_CHEST_RIGHT, VIEW_UNDEFINED, BG_FIXED_MID);
    OpenMasking whole, steps;
    Mask frame, *frame_at = &frame;
    Image expected(image.get(), true), patched(image.get(), true), *expected_at = &expected, *patched_at = &patched;
    whole.ChestWallPatch(image.get(), p, patched_at);
    steps.GenerateFrameMask(image.get(), p, frame_at, false);
    steps.contourState = new ContourState;
    steps.find_polar_center(image.get(), &frame);
    EXPECT_GT(steps.patch_chestwall(image.get(), &frame, expected_at), 0.2);
    EXPECT_EQ(pixels_of(expected), pixels_of(patched));
    EXPECT_EQ(29696, whole.contourState->tissueMean);
}

}  // namespace
}  // namespace Norvane::Tests
