// SPDX-License-Identifier: Apache-2.0
#include "analysis/image_analysis.h"

#include "analysis/image_rows.h"
#include "analysis/outline_contrast.h"
#include "phantom/phantom.h"
#include "reading/refusal.h"
#include "support/builders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace Norvane::Tests {
namespace {

using Host::AnalysisOptions;
using Host::Laterality;
using Host::NoiseTrial;
using Host::PhantomFrame;
using Host::PhantomLook;
using Host::SourceImage;
using ::testing::HasSubstr;

Host::Phantom phantom_of(PhantomLook look, PhantomFrame frame = PhantomFrame::kNone,
                         IMAGE_SIDE side = SIDE_CHEST_LEFT) {
    Host::PhantomSettings settings;
    settings.width = 750;
    settings.height = 1000;
    settings.pixel_size_um = 220.0;
    settings.side = side;
    settings.frame = frame;
    settings.look = look;
    return Host::draw_phantom(settings);
}

SourceImage source_of(const Host::Phantom& phantom) {
    SourceImage source;
    Host::set_size(source, phantom.settings.width, phantom.settings.height);
    source.used_bits = phantom.settings.used_bits;
    source.samples = phantom.pixels;
    source.view = phantom.settings.view;
    source.view_from = "ViewPosition";
    source.pixel_size_um = phantom.settings.pixel_size_um;
    return source;
}

// Overlap with the pixels whose label is at least `least`, at the working grid.
double dice(Mask& mask, const Host::ImageAnalysis& analysis, const Host::Phantom& truth, unsigned least) {
    const Image& image = *analysis.prepared.image;
    const Host::MaskBitmap bitmap = Host::bitmap_of(mask, image.GetWidth(), image.GetHeight());
    double both = 0.0;
    double sum = 0.0;
    for (unsigned y = 0; y < bitmap.height; ++y) {
        for (unsigned x = 0; x < bitmap.width; ++x) {
            const unsigned source_x = analysis.crop.x + x * analysis.crop.width / bitmap.width;
            const unsigned source_y = analysis.crop.y + y * analysis.crop.height / bitmap.height;
            const bool is_true = truth.labels[std::size_t{source_y} * truth.settings.width + source_x] >= least;
            both += is_true && bitmap.at(x, y) ? 2.0 : 0.0;
            sum += (is_true ? 1.0 : 0.0) + (bitmap.at(x, y) ? 1.0 : 0.0);
        }
    }
    return both / sum;
}

TEST(Analyse, FindsCropClassAndSideByItself) {
    for (const PhantomLook look : {PhantomLook::kFilm, PhantomLook::kDigital}) {
        for (const PhantomFrame frame : {PhantomFrame::kNone, PhantomFrame::kCollimation}) {
            for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
                const Host::Phantom phantom = phantom_of(look, frame, side);
                Host::ImageAnalysis analysis = Host::analyse(source_of(phantom), {});
                const std::string name = analysis.settings.noise_reason;
                EXPECT_EQ(look == PhantomLook::kFilm ? 3U : 0U, analysis.noise_trials.size()) << name;
                EXPECT_EQ(look == PhantomLook::kDigital, analysis.settings.noise == BG_MG) << name;
                EXPECT_EQ(side, analysis.settings.side);
                EXPECT_EQ(frame == PhantomFrame::kCollimation, analysis.crop != Host::whole_of(analysis.source));
                EXPECT_EQ(Masking::MASK_OK, analysis.masks.full.status) << name;
                EXPECT_GT(dice(analysis.masks.breast.mask, analysis, phantom, Host::kLabelBreast), 0.98) << name;
                EXPECT_GT(dice(analysis.masks.pectoral.mask, analysis, phantom, Host::kLabelPectoral), 0.97) << name;
                EXPECT_GT(dice(analysis.masks.frame.mask, analysis, phantom, Host::kLabelBackground), 0.99) << name;
                EXPECT_GT(analysis.outline_contrast, 0.2) << name;
            }
        }
    }
}

TEST(Analyse, SettingsComeFromUserThenHeaderThenPixels) {
    const SourceImage plain = source_of(phantom_of(PhantomLook::kFilm));
    SourceImage header = plain;
    header.noise = BG_MG_RAW_3;
    header.noise_from = "PresentationIntentType";
    header.padding = Host::PaddingRange{0, 40};
    const auto analysed = [](const SourceImage& source, const auto& set) {
        AnalysisOptions options;
        set(options);
        return Host::analyse(source, options);
    };
    const auto nothing = [](AnalysisOptions&) {};
    const auto as_header = analysed(header, nothing);
    EXPECT_EQ(BG_MG_RAW_3, as_header.settings.noise);
    EXPECT_EQ("PresentationIntentType", as_header.settings.noise_reason);
    EXPECT_EQ("ViewPosition", as_header.settings.view_reason);
    EXPECT_EQ(BG_FIXED_HIGH, analysed(header, [](auto& o) { o.noise = BG_FIXED_HIGH; }).settings.noise);
    EXPECT_EQ(3U, analysed(header, [](auto& o) { o.tries_noise = true; }).noise_trials.size());
    EXPECT_EQ(BG_GIVEN_LEVEL, analysed(plain, [](auto& o) { o.padding = {0, 40}; }).settings.noise);

    const auto framed = source_of(phantom_of(PhantomLook::kFilm, PhantomFrame::kCollimation));
    const auto uncropped = analysed(framed, [](auto& o) { o.crops_film_area = false; });
    EXPECT_EQ(Host::whole_of(framed), uncropped.crop);
    // The given level is searched by the library, borders and all.
    EXPECT_EQ(Host::whole_of(framed), analysed(framed, [](auto& o) { o.padding = {0, 40}; }).crop);
}

TEST(Analyse, SideOfTheHeaderIsCheckedAgainstThePixels) {
    const SourceImage film = source_of(phantom_of(PhantomLook::kDigital));  // chest wall on the left
    SourceImage even = film;
    std::ranges::generate(even.samples, [n = 0U]() mutable { return static_cast<std::uint16_t>(900 + n++ % 1999); });
    using Side = std::optional<IMAGE_SIDE>;
    const struct {
        const char* name;
        const SourceImage& image;
        Side given, header;
        std::optional<Laterality> laterality;
        IMAGE_SIDE expected;
        const char* reason;
        std::vector<const char*> warnings;
    } table[] = {
        {"header agrees", film, {}, SIDE_CHEST_LEFT, Laterality::kLeft, SIDE_CHEST_LEFT, "PatientOrientation", {}},
        {"header contradicts",
         film,
         {},
         SIDE_CHEST_RIGHT,
         {},
         SIDE_CHEST_LEFT,
         ", against PatientOrientation",
         {"PatientOrientation puts the chest wall at the right border, but the left one is clearly brighter"}},
        {"the user knows better", film, SIDE_CHEST_RIGHT, SIDE_CHEST_LEFT, {}, SIDE_CHEST_RIGHT, "as given", {}},
        {"mirrored, as the header knows",
         film,
         {},
         SIDE_CHEST_LEFT,
         Laterality::kRight,
         SIDE_CHEST_LEFT,
         "PatientOrientation",
         {"ImageLaterality says a right breast, but its chest wall is at the left border"}},
        {"mirrored, and no header", film, {}, {}, Laterality::kRight, SIDE_CHEST_LEFT, "the left border is", {}},
        {"pixels do not tell", even, {}, SIDE_CHEST_RIGHT, {}, SIDE_CHEST_RIGHT, "PatientOrientation", {}},
        {"laterality at last", even, {}, {}, Laterality::kRight, SIDE_CHEST_RIGHT, "a right breast", {}}};
    for (const auto& row : table) {
        SourceImage source = row.image;
        source.chest_wall = row.header;
        source.chest_wall_from = "PatientOrientation";
        source.laterality = row.laterality;
        source.laterality_from = "ImageLaterality";
        AnalysisOptions options;
        options.side = row.given;
        options.noise = BG_MG;
        const auto analysis = Host::analyse(source, options);
        EXPECT_EQ(row.expected, analysis.settings.side) << row.name;
        EXPECT_THAT(analysis.settings.side_reason, HasSubstr(row.reason)) << row.name;
        ASSERT_EQ(row.warnings.size(), analysis.warnings.size()) << row.name;
        for (std::size_t i = 0; i < row.warnings.size(); ++i) {
            EXPECT_THAT(analysis.warnings[i], HasSubstr(row.warnings[i])) << row.name;
        }
    }
    EXPECT_THROW((void)Host::analyse(even, {}), Host::Refusal);
}

TEST(NoiseTrials, TheBestIsUsableAndAgreesMost) {
    const auto trial = [](Masking::MASK_STATUS status, std::size_t area, double agreement) {
        return NoiseTrial{BG_MG_RAW, status, area, {{"agreement", agreement}}};
    };
    const auto best = [](const std::vector<NoiseTrial>& trials) { return Host::best_of(trials) - trials.data(); };
    const auto fine = trial(Masking::MASK_OK, 10, 0.8);
    EXPECT_EQ(1, best({fine, trial(Masking::MASK_CHEST_WALL, 10, 0.9), trial(Masking::MASK_BAD_SHAPE, 10, 0.95)}));
    EXPECT_EQ(0, best({fine, fine}));
    EXPECT_EQ(nullptr, Host::best_of({trial(Masking::MASK_OK, 0, 1.0), trial(Masking::MASK_NO_MASK, 5, 1.0)}));
}

TEST(OutlineContrast, IsTheLogarithmOfTheStepAtTheSkinAlone) {
    // A breast at the left border, a dark strip in it at the wall, and a frame along the right half of the bottom.
    const auto grey_at = [](unsigned x, unsigned y) {
        if (x < 3) return 0U;
        if (y >= 80 && x >= 30) return 65000U;
        return x < 60 && y >= 20 ? 20000U : 2000U;
    };
    Host::PreparedImage prepared{grey_image(100, 100, grey_at), 1.0F, 0, 0};
    Mask breast = rectangle(0, 59, 20, 79);
    Mask frame = rectangle(0, 99, 0, 79);
    EXPECT_NEAR(std::log(20256.0 / 2256.0), Host::outline_contrast(prepared, breast, frame), 1e-9);
    Mask empty;
    EXPECT_EQ(0.0, Host::outline_contrast(prepared, empty, frame));
}

}  // namespace
}  // namespace Norvane::Tests
