// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace Norvane::Tests {
namespace {

// The ellipse of a frame that begins far below the image has half heights of billions of rows. None of them is in the
// image, so none may be walked: one call would take seconds, twenty pass the deadline on any machine.
TEST(PatchChestWall, WalksNoRowsBeyondTheImage) {
    const auto image = grey_image(
        9, 9, [](unsigned x, unsigned) { return 100 + x; }, 1e6F);
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        OpenMasking masking;
        masking.params.side = side;
        masking.params.view = VIEW_PECT;
        masking.contourState = new ContourState;
        Mask frame = rectangle(0, 8, 0x7FFFFFF0U, 0x7FFFFFF8U, image->GetPixelSize());
        Image patched(image.get(), true);
        Image* out = &patched;
        const auto start = std::chrono::steady_clock::now();
        for (int call = 0; call < 20; ++call) EXPECT_EQ(masking.patch_chestwall(image.get(), &frame, out), 0.0);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_EQ(pixels_of(patched), std::vector<std::uint16_t>(81, 0));
    }
}

}  // namespace
}  // namespace Norvane::Tests
