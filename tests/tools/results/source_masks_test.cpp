// SPDX-License-Identifier: Apache-2.0
#include "results/source_masks.h"
#include "phantom_analysis.h"
#include "results/breast_crop.h"
#include "results/label_map.h"
#include "support/builders.h"
#include "tools/host_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>

namespace Norvane::Tests {
namespace {

using ::testing::ElementsAre;

TEST(SourceMask, IsWhatHitTestSays) {
    Random random(11);
    const double pixel_sizes[] = {228.0, 227.99, 70.0, 50.0, 94.1, 199.7, 114.0, 300.0, 33.3333};
    for (int round = 0; round < 200; ++round) {
        Mask mask = random_mask(random, 40, 30, round % 5 == 4 ? 231.5F : 228.0F);
        const double pixel_size = pixel_sizes[round % std::size(pixel_sizes)];
        const Host::SourceBox crop{random.below(4), random.below(4), 1 + random.below(170), 1 + random.below(130)};
        const HitTester truth(mask, crop, pixel_size);
        const Host::SourceMask found(mask, crop, pixel_size);
        for (unsigned y = 0; y < crop.y + crop.height + 2; ++y) {
            std::vector<bool> row(crop.x + crop.width + 2);
            for (const Host::ColumnRun& run : found.row(y)) {
                for (unsigned x = run.first; x <= run.last; ++x) row.at(x) = true;
            }
            for (unsigned x = 0; x < row.size(); ++x) {
                ASSERT_EQ(truth.at(x, y), row[x]) << x << ", " << y << " of " << pixel_size << " round " << round;
            }
        }
    }
}

std::string inflated(const std::string& gzip, std::size_t size) {
    std::string bytes(size + 1, '\0');  // one more, so that a longer stream shows
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(gzip.data()));
    stream.avail_in = static_cast<uInt>(gzip.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    EXPECT_EQ(Z_OK, inflateInit2(&stream, 15 + 16));
    EXPECT_EQ(Z_STREAM_END, inflate(&stream, Z_FINISH));
    bytes.resize(stream.total_out);
    inflateEnd(&stream);
    return bytes;
}

// Labels as PNG and NRRD, and the crop that they cut out, of the whole image and of a film area inside it.
TEST(LabelFiles, HoldTheLabelOfEachPixelOfTheSource) {
    for (const bool is_inverted : {false, true}) {
        Host::ImageAnalysis analysis = analysed_phantom(VIEW_PECT, is_inverted);
        if (is_inverted) analysis.crop = {7, 3, 900, 1300};
        const TemporaryFolder folder;
        const auto png = Host::read_image(folder.write("labels.png", Host::label_png(analysis)));
        const auto crop = Host::read_image(folder.write("crop.png", Host::breast_crop_png(analysis)));
        const std::string nrrd = Host::label_nrrd(analysis);
        const std::string header = nrrd.substr(0, nrrd.find("\n\n"));
        EXPECT_THAT(header, ::testing::HasSubstr("\nsizes: 1001 1303\nspacings: 0.163 0.163\n"));
        const std::string volume = inflated(nrrd.substr(header.size() + 2), png.samples.size());
        const Host::SourceBox box = Host::breast_window(analysis);

        const LabelTester truth(analysis);
        ASSERT_EQ(1001U, png.width);
        ASSERT_EQ(std::size_t{1001} * 1303, volume.size());
        ASSERT_EQ((std::vector{box.width, box.height}), (std::vector{crop.width, crop.height}));
        EXPECT_EQ(16U, crop.used_bits);
        std::vector<unsigned> counts(3);
        for (unsigned y = 0; y < 1303; ++y) {
            for (unsigned x = 0; x < 1001; ++x) {
                const std::size_t at = std::size_t{y} * 1001 + x;
                const unsigned label = truth.at(x, y);
                ++counts[label];
                ASSERT_EQ(label, png.samples[at]) << x << ", " << y;
                ASSERT_EQ(label, static_cast<unsigned>(volume[at])) << x << ", " << y;
                const bool is_in_box = x - box.x < box.width && y - box.y < box.height;
                ASSERT_TRUE(is_in_box || label == 0);
                if (!is_in_box) continue;
                const unsigned sample = analysis.source.samples[at] ^ (is_inverted ? 0xFFFU : 0U);
                ASSERT_EQ(label == 0 ? 0 : sample, crop.samples[std::size_t{y - box.y} * box.width + x - box.x]);
            }
        }
        EXPECT_GT(*std::ranges::min_element(counts), 20000U);  // all three are there
        const auto blank_columns = [&](unsigned x) {
            for (unsigned y = 0; y < 1303; ++y) {
                if (truth.at(x, y) != 0) return false;
            }
            return true;
        };
        EXPECT_FALSE(blank_columns(box.x) || blank_columns(box.x + box.width - 1));  // and the box is no larger
    }
}

TEST(LabelFiles, AnEmptyMaskLeavesTheWholeSourceBlank) {
    Host::ImageAnalysis analysis = analysed_phantom();
    analysis.masks.breast.mask.Clear();
    analysis.masks.pectoral.mask.Clear();
    const TemporaryFolder folder;
    const auto crop = Host::read_image(folder.write("crop.png", Host::breast_crop_png(analysis)));
    EXPECT_EQ(1303U, crop.height);
    EXPECT_EQ(crop.samples.size(), static_cast<std::size_t>(std::ranges::count(crop.samples, 0)));
    const Host::SourceBox box = Host::breast_window(analysis);
    EXPECT_THAT((std::vector{box.x, box.y, box.width, box.height}), ElementsAre(0, 0, 1001, 1303));
}

}  // namespace
}  // namespace Norvane::Tests
