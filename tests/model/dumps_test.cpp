// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

namespace Norvane::Tests {
namespace {

std::string dumped(const std::function<void(const std::string&)>& dump) {
    // Tests run side by side: each has a file of its own.
    const std::string path =
        testing::TempDir() + "norvane_" + testing::UnitTest::GetInstance()->current_test_info()->name();
    dump(path);
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(Dumps, OfASixteenBitImage) {
    Image image(FORMAT_UNSIGNED, 16, 2, 1, true);
    set_grey(image, 0, 0, 1);
    set_grey(image, 1, 0, 65535);
    image.SetOffX(3);
    image.SetOffY(4);
    image.SetUsedBits(12);
    EXPECT_EQ(dumped([&](const std::string& f) { image.DumpToFile(f); }),
              "Width / height: 2 / 1\nStride: 2\nBits / used: 16 / 12\nFormat: 1\nOffset X / Y: 3 / 4\n"
              "Needs inversion: 0\nBuffer:\n1 65535 \n");
    EXPECT_EQ(dumped([&](const std::string& f) { image.DumpToPGMImage(f); }),
              "P2\n2\n1\n65535\n#Width / height: 2 / 1\n#Stride: 2\n#Bits / used: 16 / 12\n#Format: 1\n"
              "#Offset X / Y: 3 / 4\n#Needs inversion: 0\n1\t65535\t\n");
    EXPECT_EQ(dumped([&](const std::string& f) { image.DumpToBinaryFile(f); }), std::string("\1\0\xFF\xFF", 4));
    image.DumpToFile("/nonexistent/folder/file");  // passed over
}

TEST(Dumps, OtherDepthsWriteTheirSamplesAndMissingBuffersNone) {
    const auto rows_of = [](Image& image) {
        const std::string text = dumped([&](const std::string& f) { image.DumpToFile(f); });
        return text.substr(text.find("Buffer:\n") + 8);
    };
    Image bytes(FORMAT_UNSIGNED, 8, 3, 1, true);
    bytes.GetBuffer()[1] = 200;
    EXPECT_EQ(rows_of(bytes), "0 200 0 \n");
    bytes.SetFormat(FORMAT_SIGNED);
    EXPECT_EQ(rows_of(bytes), "0 -56 0 \n");
    Image bits(FORMAT_UNSIGNED, 1, 9, 2, true);
    bits.GetBuffer()[1] = 0x80;
    EXPECT_EQ(rows_of(bits), "0 0 0 0 0 0 0 0 1 \n0 0 0 0 0 0 0 0 0 \n");
    Image floats(FORMAT_FLOAT, 32, 1, 1, true);
    const float half = -0.5F;
    std::memcpy(floats.GetBuffer(), &half, sizeof half);
    EXPECT_EQ(rows_of(floats), "-0.5 \n");
    Image none(FORMAT_UNSIGNED, 16, 9, 9, false);
    none.AlignSize();
    EXPECT_EQ(rows_of(none), "");
    EXPECT_EQ(dumped([&](const std::string& f) { none.DumpToBinaryFile(f); }), "");
}

TEST(Dumps, MaskPointsAreALatticeWithoutTheLastColumn) {
    const auto csv = [](const Mask& mask) { return dumped([&](const std::string& f) { mask.DumpToCSV(f); }); };
    EXPECT_EQ(csv(mask_of({{0, 0, 12}})), "0,0\n5,0\n10,0\n");
    EXPECT_EQ(csv(mask_of({{0, 0, 10}})), "0,0\n5,0\n");
    EXPECT_EQ(csv(rectangle(2, 3, 0, 9)), "2,0\n2,5\n");
    EXPECT_EQ(csv(mask_of({{1, 7, 7}})), "");
    EXPECT_EQ(csv(mask_of(std::vector<RowRun>{})), "");
}

}  // namespace
}  // namespace Norvane::Tests
