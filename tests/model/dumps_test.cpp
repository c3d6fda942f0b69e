// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"
#include "support/test.h"

#include <fstream>
#include <sstream>

namespace Norvane::Tests {
namespace {

/// What object.dump(file) writes.
template <class Object, class Dump>
std::string dumped(Object&& object, Dump dump) {
    // Tests run side by side: each has a file of its own.
    const std::string path =
        testing::TempDir() + "norvane_" + testing::UnitTest::GetInstance()->current_test_info()->name();
    (object.*dump)(path);
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(Dumps, OfASixteenBitImage) {
    const auto image = grey_image(2, 1, [](unsigned x, unsigned) { return x == 0 ? 1U : 65535U; });
    image->SetOffX(3);
    image->SetOffY(4);
    image->SetUsedBits(12);
    image->SetNeedsInversion(true);
    EXPECT_EQ(dumped(*image, &Image::DumpToFile),
              "Width / height: 2 / 1\nStride: 2\nBits / used: 16 / 12\nFormat: 1\nOffset X / Y: 3 / 4\n"
              "Needs inversion: 1\nBuffer:\n1 65535 \n");
    EXPECT_EQ(dumped(*image, &Image::DumpToPGMImage),
              "P2\n2\n1\n65535\n#Width / height: 2 / 1\n#Stride: 2\n#Bits / used: 16 / 12\n#Format: 1\n"
              "#Offset X / Y: 3 / 4\n#Needs inversion: 1\n1\t65535\t\n");
    EXPECT_EQ(dumped(*image, &Image::DumpToBinaryFile), std::string("\1\0\xFF\xFF", 4));
    image->DumpToFile("/nonexistent/folder/file");  // passed over
}

TEST(Dumps, OtherDepthsWriteTheirSamplesAndMissingBuffersNone) {
    struct Case {
        ImageFormat format;
        unsigned bits, width;
        std::vector<unsigned char> first_bytes;
        const char* rows;
    };
    const Case cases[] = {
        {FORMAT_UNSIGNED, 8, 3, {0, 200}, "0 200 0 \n0 0 0 \n"},
        {FORMAT_SIGNED, 8, 3, {0, 200}, "0 -56 0 \n0 0 0 \n"},
        {FORMAT_UNSIGNED, 1, 9, {0, 128, 0, 0, 1}, "0 0 0 0 0 0 0 0 1 \n0 0 0 0 0 0 0 1 0 \n"},
        {FORMAT_FLOAT, 32, 1, {0, 0, 0, 0xBF}, "-0.5 \n0 \n"},
        {FORMAT_UNSIGNED, 32, 1, {254, 255, 255, 255}, "4294967294 \n0 \n"},
        {FORMAT_UNSIGNED, 24, 1, {1, 2, 3}, ""},
    };
    const auto rows_of = [](Image& image) {
        const std::string text = dumped(image, &Image::DumpToFile);
        return text.substr(text.find("Buffer:\n") + 8);
    };
    for (const Case& c : cases) {
        Image image(c.format, c.bits, c.width, 2, true);
        std::ranges::copy(c.first_bytes, image.GetBuffer());
        EXPECT_EQ(rows_of(image), c.rows);
    }
    Image none(FORMAT_UNSIGNED, 16, 9, 9, false);
    none.AlignSize();
    EXPECT_EQ(rows_of(none), "");
    EXPECT_EQ(dumped(none, &Image::DumpToBinaryFile), "");
}

TEST(Dumps, MaskPointsAreALatticeWithoutTheLastColumn) {
    const auto csv = [](const Mask& mask) { return dumped(mask, &Mask::DumpToCSV); };
    EXPECT_EQ(csv(mask_of({{0, 0, 12}})), "0,0\n5,0\n10,0\n");
    EXPECT_EQ(csv(rectangle(2, 3, 0, 9)), "2,0\n2,5\n");
    EXPECT_EQ(csv(mask_of(std::vector<RowRun>{})), "");
}

}  // namespace
}  // namespace Norvane::Tests
