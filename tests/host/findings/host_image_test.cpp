// SPDX-License-Identifier: Apache-2.0
#include "findings/host_image.h"

#include "findings/chest_wall_side.h"
#include "findings/noise_choice.h"
#include "host/source_images.h"
#include "io/refusal.h"
#include "support/builders.h"
#include "support/test.h"

#include <norvane/norvane.h>

namespace Norvane::Tests {
namespace {

using Host::SourceImage;
using ::testing::HasSubstr;

SourceImage source_of(unsigned width, unsigned height, unsigned used_bits, const GreyAt& grey_at) {
    SourceImage source;
    source.used_bits = used_bits;
    Host::set_size(source, width, height);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) source.samples[y * width + x] = static_cast<std::uint16_t>(grey_at(x, y));
    }
    return source;
}

Host::PreparedImage prepare_source(const SourceImage& source, double pixel_size_um) {
    return Host::prepare_source(source, Host::whole_of(source), pixel_size_um);
}

// The rows of a box; 16 used bits with the top one flipped; the last column repeated where the library's rows are
// longer.
TEST(HostImage, HoldsABoxAndIsNoCopyWhereItsRowsAreThoseOfTheLibrary) {
    const struct {
        unsigned width, bits;
        Host::SourceBox box;
        bool is_in_place;
    } table[] = {{36, 12, {0, 0, 36, 33}, true},  {36, 12, {0, 2, 36, 33}, true},  {35, 12, {0, 0, 35, 33}, false},
                 {36, 16, {0, 0, 36, 33}, false}, {36, 12, {2, 3, 34, 33}, false}, {36, 16, {0, 1, 35, 33}, false}};
    for (const auto& c : table) {
        SCOPED_TRACE(std::to_string(c.width) + " columns, " + std::to_string(c.bits) + " bits, x " +
                     std::to_string(c.box.x));
        const auto source = source_of(c.width, 40, c.bits, [](unsigned x, unsigned y) { return 37 * x + y; });
        const auto samples = Host::samples_of(source, c.box, 70.0);
        const auto over = Host::host_image_over(samples), copy = Host::make_host_image(samples);
        EXPECT_EQ(c.is_in_place, !over->GetIsBufferOwner());
        for (const Image* image : {over.get(), copy.get()}) {
            ASSERT_EQ((std::vector{36U - c.box.x, 33U, c.bits}),
                      (std::vector{image->GetStride(), image->GetHeight(), image->GetUsedBits()}));
            EXPECT_EQ(70.0F, image->GetPixelSize());
            const auto* words = reinterpret_cast<const std::uint16_t*>(image->GetBuffer());
            for (unsigned y = 0; y < 33; ++y) {
                for (unsigned x = 0; x < image->GetStride(); ++x) {
                    const unsigned sample = 37 * (c.box.x + std::min(x, c.box.width - 1)) + c.box.y + y;
                    ASSERT_EQ(sample ^ (c.bits == 16 ? 0x8000U : 0U), words[y * image->GetStride() + x]) << x;
                }
            }
        }
    }
}

TEST(HostImage, PreparedForAClassIsWhatPreparationForItGives) {
    const auto source = source_of(120, 100, 12, [](unsigned x, unsigned y) { return 30 * x + y; });
    const auto prepared = prepare_source(source, 100.0);
    for (const BG_NOISE noise : {BG_FIXED_MID, BG_MG_RAW}) {
        const auto image = Host::make_host_image(Host::samples_of(source, Host::whole_of(source), 100.0));
        float scale = 0.0F;
        const std::unique_ptr<Image> expected(PrepareImage(image.get(), scale, noise, true, nullptr, nullptr, nullptr));
        const auto other = Host::prepared_for(prepared, noise);
        EXPECT_EQ(pixels_of(*expected), pixels_of(*other.image)) << noise;
        EXPECT_EQ(scale, other.scale);
    }
}

// The same picture in every arrangement of samples that files have must come out alike.
TEST(PrepareSource, GreyLevelsUseTheFullRangeForEveryDepth) {
    const auto wedge = [](unsigned bits) {
        return [bits](unsigned x, unsigned y) {
            const unsigned top = (1U << bits) - 1;
            return y < 20 ? x * top / 44 : top / 2;
        };
    };
    for (const unsigned bits : {8U, 10U, 12U, 14U, 16U}) {
        const SourceImage source = source_of(45, 40, bits, wedge(bits));
        const auto prepared = prepare_source(source, 228.0);
        EXPECT_EQ(1.0F, prepared.scale);
        EXPECT_EQ(0U, grey(*prepared.image, 0, 0)) << bits;
        EXPECT_GE(grey(*prepared.image, 44, 0), 65280U) << bits;
        EXPECT_NEAR(32768, grey(*prepared.image, 22, 10), 300) << bits;
        EXPECT_EQ(pixels_of(*prepared.image), pixels_of(*prepare_source(inverted(source), 228.0).image)) << bits;
    }
    // Samples of 12 bits in a file of 16, odd width: the padding column must not darken the picture.
    const auto prepared = prepare_source(source_of(45, 40, 16, wedge(12)), 228.0);
    EXPECT_GE(grey(*prepared.image, 44, 0), 65280U);
}

TEST(PrepareSource, PaddingValuesAreCarriedToThePreparedScale) {
    const struct {
        unsigned bits;
        bool inverted;
        Host::PaddingRange range;
        unsigned low, high;
    } table[] = {{12, false, {0, 100}, 0, 1600},
                 {12, true, {4000, 4095}, 0, 95 * 16},
                 {16, false, {0, 500}, 0, 500},
                 {16, true, {65000, 65535}, 0, 535}};
    for (const auto& row : table) {
        const unsigned top = (1U << row.bits) - 1;
        SourceImage source = source_of(40, 40, row.bits, [top](unsigned x, unsigned) { return x * top / 39; });
        source.padding = Host::Sourced{row.range};
        source.needs_inversion = row.inverted;
        const auto prepared = prepare_source(source, 228.0);
        EXPECT_EQ(row.low, prepared.padding_low) << row.bits << row.inverted;
        EXPECT_EQ(row.high, prepared.padding_high) << row.bits << row.inverted;
    }
}

TEST(PrepareSource, RefusesWhatIsSmallerThanABreast) {
    const auto grey_at = [](unsigned x, unsigned) { return x; };
    EXPECT_THROW((void)prepare_source(source_of(31, 60, 8, grey_at), 228.0), Host::Refusal);
    EXPECT_THROW((void)prepare_source(source_of(200, 200, 8, grey_at), 1.0), Host::Refusal);
    EXPECT_NO_THROW((void)prepare_source(source_of(32, 60, 8, grey_at), 228.0));
}

TEST(ChooseSide, TheBorderWithMoreTissueOutsideTheFrame) {
    const auto fading_in_a_frame = [](unsigned from_wall, unsigned) {
        return from_wall >= 85 ? 65535U : 400 * (100 - from_wall);
    };
    // Cropped to a breast whose fat at the chest wall is darker than the gland at the nipple.
    const auto cropped = [](unsigned from_wall, unsigned y) {
        if (y < from_wall / 5 || y >= 50 - from_wall / 5) return 10U;
        return from_wall < 40 ? 9000U : 50000U;
    };
    for (const GreyAt& picture : {GreyAt(fading_in_a_frame), GreyAt(cropped)}) {
        for (const bool is_mirrored : {false, true}) {
            const auto image =
                grey_image(100, 50, [&](unsigned x, unsigned y) { return picture(is_mirrored ? 99 - x : x, y); });
            const auto choice = Host::choose_side(*image, Host::Sourced{Host::Laterality::kLeft});
            EXPECT_EQ(is_mirrored ? SIDE_CHEST_RIGHT : SIDE_CHEST_LEFT, choice.value) << "images are stored flipped";
            EXPECT_THAT(choice.from, HasSubstr("more tissue lies at the"));
        }
    }
}

TEST(ChooseNoise, BlackAndFlatOrUneven) {
    // A breast with dark fat on the left, background elsewhere, within a frame of `frame` pixels.
    const auto picture = [](unsigned frame, const GreyAt& background) {
        return grey_image(200, 240, [=](unsigned x, unsigned y) {
            if (x < frame || y < frame || x >= 200 - frame || y >= 240 - frame) return 65000U;
            const bool is_fat = x >= 40 && x < 80 && y >= 60 && y < 180;
            return x < 90 ? is_fat ? 1500U : 30000U : background(x, y);
        });
    };
    const auto black = [](unsigned, unsigned) { return 40U; };
    const auto noisy = [](unsigned x, unsigned y) { return 1500 + (x * 7919 + y * 104729) % 600; };
    const auto black_in_places = [](unsigned x, unsigned y) { return y < 20 ? 0U : 300 + (x * y) % 400; };
    const auto with_a_black_pixel = [](unsigned level) {
        return [level](unsigned x, unsigned y) { return x == 120 && y == 120 ? 0U : level; };
    };
    const auto skin_line = [](unsigned columns, unsigned level) {
        return [=](unsigned x, unsigned) { return x < 90 + columns ? level : 40U; };
    };
    const auto thin_lines = [](unsigned level) {
        return [level](unsigned x, unsigned y) { return x % 20 == 0 && y % 20 < 15 ? level : 0U; };
    };
    const auto fading_to_black = [](unsigned x, unsigned) { return x < 130 ? 20 * (130 - x) : 0U; };
    const struct {
        const char* why;
        unsigned frame;
        GreyAt background;
        BG_NOISE expected;
    } table[] = {{"digital in a bright frame", 12, black, BG_MG},
                 {"film in a frame", 12, noisy, BG_AUTO_COARSE},
                 {"film with a black scanner border", 0, black_in_places, BG_AUTO_COARSE},
                 {"film clipped to black", 0, fading_to_black, BG_AUTO_COARSE},
                 {"nearly the darkest pixel", 0, with_a_black_pixel(64), BG_MG},
                 {"flat but not as dark as that", 0, with_a_black_pixel(65), BG_AUTO_COARSE},
                 {"3.6 % dim", 0, skin_line(4, 2600), BG_MG},
                 {"4.5 % dim", 0, skin_line(5, 2600), BG_AUTO_COARSE},
                 {"not dim", 0, skin_line(5, 2601), BG_MG},
                 {"a deviation of 63.8", 0, thin_lines(336), BG_MG},
                 {"a deviation of 64.03", 0, thin_lines(337), BG_AUTO_COARSE}};
    for (const auto& row : table) {
        const auto choice = Host::choose_noise(*picture(row.frame, row.background), SIDE_CHEST_LEFT);
        EXPECT_EQ(row.expected, choice.value) << row.why << ": " << choice.from;
    }
}

}  // namespace
}  // namespace Norvane::Tests
