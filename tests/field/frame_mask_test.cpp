// SPDX-License-Identifier: Apache-2.0
/// Frame masks end to end, and the field of an image as four numbers.
#include "field/padding_bounds.h"
#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

std::array<int, 4> bounds_of(Mask mask) {
    mask.SetTargetPixelSize(0.0F);
    return {static_cast<int>(mask.GetMinX()), static_cast<int>(mask.GetMaxX()), static_cast<int>(mask.GetMinY()),
            static_cast<int>(mask.GetMaxY())};
}

TEST(FrameMask, PaddingFramesFollowTheNoiseLevel) {
    auto image = grey_image(100, 80, [](unsigned x, unsigned y) {
        return x >= 7 && x < 70 && y >= 5 ? 30000U : x % 4 == 3 ? 512U : 256U;
    });
    image->SetOffX(1000);
    image->SetOffY(2000);
    const auto check = [&](const char* what, int side, int view, bool allowed, const std::array<int, 4>& field) {
        Masking masking;
        Mask frame, *out = &frame;
        const auto params = params_for(side, view, BG_MG);
        EXPECT_EQ(masking.GenerateFrameMask(image.get(), params, out, allowed), Masking::MASK_OK) << what;
        EXPECT_EQ(bounds_of(frame), field) << what;
        EXPECT_EQ(masking.GetBackgroundNoiseLevel(), allowed ? 512 : 65535) << what;
    };
    // The step search sees the rise between columns 6 and 7 at its centre, column 6 or 7, and rows 4 and 5 likewise.
    check("left", SIDE_CHEST_LEFT, VIEW_PECT, true, {1007, 1099, 2005, 2079});
    check("right", SIDE_CHEST_RIGHT, VIEW_PECT, true, {1000, 1069, 2005, 2079});
    check("no row with muscle is sought", SIDE_CHEST_LEFT, VIEW_NO_PECT, true, {1007, 1099, 2004, 2079});
    check("no padding allowed", SIDE_CHEST_LEFT, VIEW_PECT, false, {1006, 1099, 2004, 2079});
}

std::array<int, 4> numbers_of(const Bounds& b) { return {b.columns.first, b.columns.last, b.rows.first, b.rows.last}; }
/// Grey levels up to 100 are padding.
std::array<int, 4> padding_field_of(const Image& image, int side) {
    return numbers_of(padding_bounds(&image, static_cast<IMAGE_SIDE>(side), {0, 100}));
}

TEST(PaddingField, IsFoundFromTheChestWall) {
    // A 60 x 50 image of padding with content up to column 39 in rows 5 .. 44, columns counted from the wall. Content
    // begins at column `first`, from row 40 on at `first_below`, and is all that lies from column `far` on.
    const auto check = [](const char* what, int side, unsigned first, unsigned first_below, unsigned far,
                          const std::array<int, 4>& box) {
        const auto image = grey_image(60, 50, [&](unsigned column, unsigned y) {
            const unsigned x = side == SIDE_CHEST_RIGHT ? 59 - column : column;
            const bool is_content = x >= (y < 40 ? first : first_below) && x < 40 && y >= 5 && y < 45;
            return is_content || x >= far ? 101U : 100U * (x % 2);
        });
        EXPECT_EQ(padding_field_of(*image, side), box) << what << ", side " << side;
    };
    check("the last column that counts as the wall", 1, 4, 4, 60, {4, 59, 5, 45});
    check("behind it", 1, 5, 5, 60, {0, 59, 0, 45});
    check("the last column that counts as the wall", 0, 3, 3, 60, {0, 56, 5, 45});
    check("behind it", 0, 4, 4, 60, {0, 59, 0, 45});
    check("padding among the last six columns", 1, 2, 2, 55, {2, 54, 5, 45});
    check("before them", 1, 2, 2, 54, {2, 59, 5, 45});
    check("padding among the last five columns", 0, 2, 2, 56, {4, 57, 5, 45});
    check("before them", 0, 2, 2, 55, {0, 57, 5, 45});
    check("the last row begins in the near half", 1, 2, 30, 60, {2, 59, 5, 45});
    check("and behind it", 1, 2, 31, 60, {2, 59, 5, 40});
    check("the last row begins in the near half", 0, 2, 29, 60, {0, 57, 5, 45});
    check("and behind it", 0, 2, 30, 60, {0, 57, 5, 40});
    check("no padding at all", 1, 2, 2, 0, {0, 59, 0, -1});
    check("no side", 2, 2, 2, 60, {0, 59, 0, 49});
    for (const int side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        const unsigned wall = side == SIDE_CHEST_LEFT ? 0 : 4;
        const auto image = grey_image(5, 3, [&](unsigned x, unsigned y) { return x == wall && y == 0 ? 100U : 101U; });
        const int column = static_cast<int>(wall);
        EXPECT_EQ(padding_field_of(*image, side), (std::array{column, column, 0, 1})) << "in the wall's corner alone";
    }
}

TEST(BinaryField, IsSearchedUpToTheMiddleOfEachSide) {
    const auto check = [](const std::vector<std::array<unsigned, 2>>& pixels, const std::array<int, 4>& field) {
        const auto image = grey_image(60, 100);
        for (const auto& [x, y] : pixels) set_grey(*image, x, y, 1);
        EXPECT_EQ(numbers_of(content_bounds(image.get())), field);
    };
    check({}, {0, 59, 0, 99});
    check({{30, 10}}, {0, 30, 10, 99});
    check({{29, 10}, {40, 60}}, {29, 40, 10, 62});
    check({{5, 50}, {7, 98}}, {5, 59, 0, 99});
}

}  // namespace
}  // namespace Norvane::Tests
