// SPDX-License-Identifier: Apache-2.0
#include "findings/refined_muscle.h"
#include "support/test.h"

#include <random>

namespace Norvane::Tests {
namespace {

using Host::Region;

constexpr unsigned kWidth = 480, kHeight = 900;
using Border = std::function<double(double)>;  // the column at which a row leaves the muscle

Region region_left_of(const Border& border, IMAGE_SIDE side) {
    std::vector<Host::RowRuns> rows;
    for (unsigned y = 0; y < kHeight; ++y) {
        const auto columns = static_cast<unsigned>(std::clamp(border(y), 0.0, double{kWidth}));
        if (columns == 0) continue;
        rows.push_back({y, {{0, columns - 1}}});
        if (side == SIDE_CHEST_RIGHT) rows.back().runs = {{kWidth - columns, kWidth - 1}};
    }
    return {rows, 228.0F};
}

double skin(double y) { return 400.0 * std::sqrt(std::max(0.0, 1.0 - std::pow((y - 300.0) / 590.0, 2.0))); }
double curved(double y) { return 200.0 * (1.0 - std::pow(y / 520.0, 2.5)); }
Border line(double top_x, double wall_y) {
    return [=](double y) { return top_x * (1.0 - y / wall_y); };
}

// Tissue that brightens towards the middle, with a muscle brighter by `step`, and noise.
Image picture(const Border& muscle, double step, IMAGE_SIDE side) {
    Image image(FORMAT_UNSIGNED, 16, kWidth, kHeight, true);
    auto* pixels = reinterpret_cast<std::uint16_t*>(image.GetBuffer());
    std::mt19937 random(1);
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            const double to_skin = skin(y) - x;
            double grey = to_skin > 0.0 ? 12000.0 + 30.0 * std::min(to_skin, 200.0) : 1500.0;
            if (x < std::min(muscle(y), skin(y))) grey += step;
            const unsigned column = side == SIDE_CHEST_RIGHT ? kWidth - 1 - x : x;
            pixels[y * image.GetStride() + column] =
                static_cast<std::uint16_t>(grey + static_cast<double>(random() % 2000));
        }
    }
    return image;
}

// The truth is the drawn border. The exact muscle is a straight line through it, one along nothing, or none.
TEST(RefinedMuscle, FollowsTheDrawnBorder) {
    const Border absent = line(0.0, 1.0);
    const struct {
        const char* what;
        Border truth;
        double step;
        Border exact;
        bool is_refined;
    } cases[] = {{"a curved lower end below a line", curved, 15000, line(210, 700), true},
                 {"a weak border", curved, 4000, line(210, 700), true},
                 {"a line far outside", curved, 15000, line(270, 720), true},
                 {"a missed muscle", curved, 15000, absent, true},
                 {"no contrast", curved, 0, line(210, 700), false},
                 {"nothing to find", absent, 0, absent, false}};
    for (const auto& scene : cases) {
        for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
            SCOPED_TRACE(scene.what);
            const Region breast = region_left_of(skin, side), exact = region_left_of(scene.exact, side);
            const auto found = refine_muscle(picture(scene.truth, scene.step, side), breast, exact, side);
            EXPECT_EQ(scene.is_refined, found.is_refined);
            if (scene.is_refined) {
                const Region truth = region_left_of(scene.truth, side);
                EXPECT_LT(0.97, dice(found.region, truth));
                EXPECT_LT(dice(exact, truth) + 0.02, dice(found.region, truth));
                EXPECT_LT(0.0, found.low_contrast);
            } else {
                EXPECT_EQ(exact, found.region);
            }
        }
    }
}

}  // namespace
}  // namespace Norvane::Tests
