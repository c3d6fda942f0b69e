// SPDX-License-Identifier: Apache-2.0
#include "export/source_masks.h"
#include "export/breast_crop.h"
#include "export/label_map.h"
#include "export/nifti.h"
#include "host/host_support.h"
#include "phantom_analysis.h"
#include "support/builders.h"

#include <zlib.h>

namespace Norvane::Tests {
namespace {

TEST(SourceMask, IsWhatHitTestSaysAndEndsWithTheGrid) {
    Random random(11);
    const double pixel_sizes[] = {228.0, 227.99, 70.0, 50.0, 94.1, 199.7, 114.0, 300.0, 33.3333};
    for (unsigned round = 0; round < 200; ++round) {
        const Mask mask = random_mask(random, 40, 30, round % 5 == 4 ? 231.5F : 228.0F);
        const double pixel_size = pixel_sizes[round % std::size(pixel_sizes)];
        const Host::SourceBox crop{random.below(4), random.below(4), 1 + random.below(170), 1 + random.below(130)};
        const Host::Region region(mask);
        const Host::GridPlacement grid{crop, pixel_size, 1 + random.below(45), 1 + random.below(35)};
        const HitTester truth(region, grid);
        const Host::SourceMask found(region, grid);
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

std::string unpacked(const TemporaryFolder& folder, const std::string& packed) {
    gzFile gzip = gzopen(folder.write("packed.gz", packed).c_str(), "rb");
    std::string bytes(2'000'000, '\0');
    bytes.resize(static_cast<std::size_t>(gzread(gzip, bytes.data(), static_cast<unsigned>(bytes.size()))));
    EXPECT_EQ(Z_OK, gzclose(gzip));
    return bytes;
}

// Labels as PNG, NRRD and NIfTI, and the crop that they cut out, of the whole image and of a film area inside it.
TEST(LabelFiles, HoldTheLabelOfEachPixelOfTheSource) {
    for (const bool is_inverted : {false, true}) {
        Host::Findings findings = analysed_phantom(VIEW_PECT, is_inverted);
        if (is_inverted) findings.settings.crop.value = {7, 3, 900, 1300};
        const TemporaryFolder folder;
        const auto png = Host::read_image(folder.write("labels.png", Host::label_png(findings)));
        const std::string nrrd = Host::label_nrrd(findings);
        const std::string header = nrrd.substr(0, nrrd.find("\n\n"));
        EXPECT_THAT(header, ::testing::HasSubstr("\nsizes: 1001 1303\nspacings: 0.163 0.163\n"));
        const std::string volume = unpacked(folder, nrrd.substr(header.size() + 2));
        ASSERT_EQ(1001U * 1303U, volume.size());
        const std::string nifti = unpacked(folder, Host::label_nifti(findings));
        EXPECT_EQ("n+1", std::string(&nifti[344]));
        EXPECT_EQ(std::string("\x02\0\xE9\x03\x17\x05\x01\0", 8), nifti.substr(40, 8));  // axes, columns, rows, slices
        EXPECT_EQ(std::string("\x79\xE9\x26\x3E", 4), nifti.substr(80, 4));              // 0.163 mm
        EXPECT_TRUE(volume == nifti.substr(352));

        const LabelTester truth(findings);
        std::vector<unsigned> counts(3);
        unsigned left = 1001, right = 0, top = 1303, bottom = 0;
        for (unsigned y = 0; y < 1303; ++y) {
            for (unsigned x = 0; x < 1001; ++x) {
                const unsigned label = truth.at(x, y);
                ++counts[label];
                ASSERT_EQ(label, png.samples[y * 1001 + x]) << x << ", " << y;
                ASSERT_EQ(label, static_cast<unsigned char>(volume[y * 1001 + x])) << x << ", " << y;
                if (label == 0) continue;
                left = std::min(left, x), right = std::max(right, x + 1);
                top = std::min(top, y), bottom = std::max(bottom, y + 1);
            }
        }
        EXPECT_GT(*std::ranges::min_element(counts), 20000U);  // all three are there
        const Host::SourceBox box{left, top, right - left, bottom - top};
        EXPECT_EQ(box, Host::breast_window(findings));
        const auto crop = Host::read_image(folder.write("crop.png", Host::breast_crop_png(findings)));
        ASSERT_EQ((std::vector{box.width, box.height, 16U}), (std::vector{crop.width, crop.height, crop.used_bits}));
        for (unsigned i = 0; i < crop.samples.size(); ++i) {
            const unsigned at = (top + i / box.width) * 1001 + left + i % box.width;
            const unsigned sample = findings.source.samples[at] ^ (is_inverted ? 0xFFFU : 0U);
            ASSERT_EQ(png.samples[at] == 0 ? 0 : sample, crop.samples[i]) << at;
        }
    }
}

// Mirror images of one phantom, of sizes that are cut off differently by the working grid.
TEST(LabelFiles, TouchTheBordersThatTheMasksTouch) {
    for (const unsigned width : {900U, 901U, 902U, 903U, 904U}) {
        for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
            const unsigned height = width + 300;
            const auto drawn = Host::draw_phantom({width, height, 100.0, side, VIEW_PECT, Host::PhantomFrame::kNone});
            Host::AnalysisOptions options;
            options.noise = BG_AUTO_COARSE;
            options.side = side;
            Host::Findings findings = Host::analyse(source_of(drawn), options);
            const unsigned last_column = findings.working_image().GetWidth() - 1;
            const unsigned last_row = findings.working_image().GetHeight() - 1;
            Mask reaching = findings.masks.breast.region.mask();
            reaching.AddSegment(last_row, last_column / 2, 3);
            findings.masks.breast.region = Host::Region(reaching);
            const auto bounds = *findings.masks.breast.region.bounds();
            ASSERT_TRUE(side == SIDE_CHEST_LEFT ? bounds.left == 0 : bounds.right == last_column);
            const Host::SourceBox box = Host::breast_window(findings);
            EXPECT_EQ(bounds.left == 0, box.x == 0) << width << " " << side;
            EXPECT_EQ(bounds.right == last_column, box.x + box.width == width) << width << " " << side;
            EXPECT_EQ(height, box.y + box.height) << width << " " << side;
        }
    }
}

TEST(LabelFiles, AnEmptyMaskLeavesTheWholeSourceBlank) {
    Host::Findings findings = analysed_phantom();
    findings.masks.breast.region = findings.masks.pectoral.region = {};
    const TemporaryFolder folder;
    const auto crop = Host::read_image(folder.write("crop.png", Host::breast_crop_png(findings)));
    EXPECT_EQ(Host::Samples(1001 * 1303, 0), crop.samples);
    EXPECT_EQ((Host::SourceBox{0, 0, 1001, 1303}), Host::breast_window(findings));
}

}  // namespace
}  // namespace Norvane::Tests
