// SPDX-License-Identifier: Apache-2.0
#include "findings/findings.h"

#include "export/sha256.h"
#include "findings/outline_contrast.h"
#include "host/source_images.h"
#include "io/refusal.h"
#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

using Host::AnalysisOptions;
using Host::Laterality;
using Host::NoiseTrial;
using Host::PhantomFrame;
using Host::PhantomLook;
using Host::SourceImage;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;

Host::Phantom phantom_of(PhantomLook look, PhantomFrame frame = PhantomFrame::kNone, IMAGE_SIDE side = SIDE_CHEST_LEFT,
                         IMAGE_VIEW view = VIEW_PECT) {
    return Host::draw_phantom({750, 1000, 220.0, side, view, frame, look});
}

// Overlap with the pixels whose label is at least `least`, at the working grid.
double dice(const Host::FoundMask& found, const Host::Findings& analysis, const Host::Phantom& truth, unsigned least) {
    const Bitmap bitmap =
        bitmap_of(found.region.mask(), analysis.working_image().GetWidth(), analysis.working_image().GetHeight());
    const Host::SourceBox& crop = analysis.crop();
    unsigned both = 0, sum = 0;
    for (unsigned y = 0; y < bitmap.height; ++y) {
        for (unsigned x = 0; x < bitmap.width; ++x) {
            const unsigned row = crop.y + y * crop.height / bitmap.height;
            const bool is_true =
                truth.labels[row * truth.settings.width + crop.x + x * crop.width / bitmap.width] >= least;
            both += is_true && bitmap.at(x, y);
            sum += is_true + bitmap.at(x, y);
        }
    }
    return 2.0 * both / sum;
}

// A frame is cut off as the film's borders are, or left to the library with a class that looks for it.
TEST(Analyse, FindsCropClassSideAndTruth) {
    const struct {
        PhantomLook look;
        PhantomFrame frame;
        bool crops;
    } scenes[] = {{PhantomLook::kFilm, PhantomFrame::kNone, true},
                  {PhantomLook::kFilm, PhantomFrame::kCollimation, true},
                  {PhantomLook::kFilm, PhantomFrame::kCollimation, false},
                  {PhantomLook::kDigital, PhantomFrame::kNone, true},
                  {PhantomLook::kDigital, PhantomFrame::kCollimation, true}};
    for (unsigned i = 0; i < 4 * std::size(scenes); ++i) {
        const auto& scene = scenes[i / 4];
        const IMAGE_SIDE side = i % 2 == 0 ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        const bool is_film = scene.look == PhantomLook::kFilm, has_muscle = i / 2 % 2 == 0;
        const Host::Phantom phantom = phantom_of(scene.look, scene.frame, side, has_muscle ? VIEW_PECT : VIEW_NO_PECT);
        AnalysisOptions options;
        options.crops_film_area = scene.crops;
        if (!scene.crops) options.noise = BG_AUTO_COARSE;
        const Host::Findings analysis = Host::analyse(source_of(phantom), options);
        const Host::FoundMasks& masks = analysis.masks;
        SCOPED_TRACE(std::to_string(i) + ": " + analysis.settings.noise.from);
        EXPECT_EQ(is_film && scene.crops ? 3U : 0U, analysis.noise_trials.size());
        EXPECT_EQ(is_film, analysis.settings.noise.value != BG_MG);
        EXPECT_EQ(side, analysis.settings.side.value);
        EXPECT_EQ(scene.crops && scene.frame == PhantomFrame::kCollimation,
                  analysis.crop() != Host::whole_of(analysis.source));
        EXPECT_EQ(Masking::MASK_OK, masks.full.status);
        EXPECT_EQ(has_muscle ? Masking::MASK_OK : Masking::MASK_PECT_NOT_APPLICABLE, masks.pectoral.status);
        EXPECT_GT(dice(masks.breast, analysis, phantom, Host::kLabelBreast), scene.crops ? 0.98 : 0.97);
        EXPECT_GT(dice(masks.full, analysis, phantom, Host::kLabelBreast), 0.97);
        EXPECT_GT(dice(masks.frame, analysis, phantom, Host::kLabelBackground), scene.crops ? 0.99 : 0.90);
        const double muscle = dice(masks.pectoral, analysis, phantom, Host::kLabelPectoral);
        EXPECT_GT(has_muscle ? muscle : 1.0, scene.crops ? 0.97 : 0.95);
        EXPECT_EQ(Masking::MASK_OK, masks.contour->status);
        EXPECT_EQ(1440U, masks.contour->points.size());
        EXPECT_GT(analysis.outline_contrast, 0.2);
    }
}

TEST(Phantom, HasTheSamePixelsOnEveryMachine) {
    const struct {
        Host::PhantomSettings settings;
        const char* digest;
    } table[] = {{{301, 400, 228.0, SIDE_CHEST_LEFT, VIEW_PECT, PhantomFrame::kCollimation, PhantomLook::kFilm},
                  "c9a8bebcfaa6e2e5"},
                 {{300, 401, 200.0, SIDE_CHEST_RIGHT, VIEW_NO_PECT, PhantomFrame::kNone, PhantomLook::kDigital},
                  "97a21c60fc570adf"}};
    for (const auto& [settings, digest] : table) {
        const Host::Phantom phantom = Host::draw_phantom(settings);
        std::vector<std::uint8_t> bytes = phantom.labels;
        for (const unsigned sample : phantom.pixels) {
            bytes.insert(bytes.end(), {static_cast<std::uint8_t>(sample >> 8U), static_cast<std::uint8_t>(sample)});
        }
        EXPECT_EQ(digest, Host::hexadecimal(Host::sha256(bytes)).substr(0, 16));
    }
}

TEST(Analyse, RefusesAWorkingGridBeyondTheMemory) {
    SourceImage source = source_of(phantom_of(PhantomLook::kDigital));
    for (const auto& [pixel_size, grid_pixels] : {std::pair(228.0, 750000U), {114.0, 187500U}}) {
        source.pixel_size_um->value = pixel_size;
        AnalysisOptions options;
        options.image_memory = Host::memory_of_source(750000) + Host::memory_of_working_grid(grid_pixels);
        EXPECT_NO_THROW((void)Host::analyse(source, options));
        --options.image_memory;
        EXPECT_THROW((void)Host::analyse(source, options), Host::Refusal);
    }
}

TEST(Analyse, ARejectedMuscleIsNoMask) {
    AnalysisOptions options;
    options.view = VIEW_PECT;
    const auto without = phantom_of(PhantomLook::kFilm, PhantomFrame::kNone, SIDE_CHEST_LEFT, VIEW_NO_PECT);
    const auto analysis = Host::analyse(source_of(without), options);
    EXPECT_EQ(Masking::MASK_PECT_REJECTED, analysis.masks.pectoral.status);
    EXPECT_EQ(0U, analysis.masks.pectoral.region.area());
}

TEST(Analyse, SettingsComeFromUserThenHeaderThenPixels) {
    const SourceImage plain = source_of(phantom_of(PhantomLook::kFilm));
    SourceImage header = plain;
    header.noise = Host::Sourced{BG_MG_RAW_3, "PresentationIntentType"};
    header.padding = Host::Sourced{Host::PaddingRange{0, 40}};
    const auto analysed = [](const SourceImage& source, const auto& set) {
        AnalysisOptions options;
        set(options);
        return Host::analyse(source, options);
    };
    const auto as_header = analysed(header, [](AnalysisOptions&) {});
    EXPECT_EQ(BG_MG_RAW_3, as_header.settings.noise.value);
    EXPECT_EQ("PresentationIntentType", as_header.settings.noise.from);
    EXPECT_EQ("ViewPosition", as_header.settings.view.from);
    header.flags = {"spot", "implant"};
    EXPECT_THAT(analysed(header, [](auto& o) { o.view = VIEW_NO_PECT; }).warnings,
                IsSupersetOf({HasSubstr("ViewPosition says mlo, but cc was given"), HasSubstr("(spot, implant)")}));
    EXPECT_EQ(BG_FIXED_HIGH, analysed(header, [](auto& o) { o.noise = BG_FIXED_HIGH; }).settings.noise.value);
    EXPECT_EQ(3U, analysed(header, [](auto& o) { o.tries_noise = true; }).noise_trials.size());
    // Defaults fill gaps and override nothing.
    const auto with_defaults = [](AnalysisOptions& o) { o.defaults = {SIDE_CHEST_RIGHT, VIEW_NO_PECT, 200.0}; };
    const Host::ImageSettings said = analysed(header, with_defaults).settings;
    EXPECT_EQ(SIDE_CHEST_LEFT, said.side.value);
    EXPECT_EQ(VIEW_PECT, said.view.value);
    EXPECT_EQ(220.0, said.pixel_size_um.value);
    SourceImage silent = plain;
    silent.view.reset();
    silent.pixel_size_um.reset();
    std::ranges::fill(silent.samples, std::uint16_t{900});
    silent.samples[0] = 0;
    const Host::ImageSettings filled = analysed(silent, with_defaults).settings;
    EXPECT_EQ(SIDE_CHEST_RIGHT, filled.side.value);
    EXPECT_EQ(VIEW_NO_PECT, filled.view.value);
    EXPECT_EQ(200.0, filled.pixel_size_um.value);
    // The given level is searched by the library, borders and all.
    const auto framed = source_of(phantom_of(PhantomLook::kFilm, PhantomFrame::kCollimation));
    const auto given = analysed(framed, [](auto& o) { o.padding = {0, 40}; });
    EXPECT_EQ(BG_GIVEN_LEVEL, given.settings.noise.value);
    EXPECT_EQ(Host::whole_of(framed), given.crop());
}

TEST(Analyse, SideOfTheHeaderIsCheckedAgainstThePixels) {
    const SourceImage film = source_of(phantom_of(PhantomLook::kDigital));  // chest wall on the left
    SourceImage even = film;
    std::ranges::generate(even.samples, [n = 0U]() mutable { return static_cast<std::uint16_t>(900 + n++ % 1999); });
    constexpr auto kLeft = SIDE_CHEST_LEFT, kRight = SIDE_CHEST_RIGHT;
    constexpr auto kNone = std::nullopt;
    const struct {
        const char* name;
        const SourceImage& image;
        std::optional<IMAGE_SIDE> given, header;
        std::optional<Laterality> laterality;
        IMAGE_SIDE expected;
        const char *reason, *warning;
    } table[] = {{"header agrees", film, kNone, kLeft, Laterality::kLeft, kLeft, "PatientOrientation", ""},
                 {"header contradicts", film, kNone, kRight, kNone, kLeft, ", against PatientOrientation",
                  "PatientOrientation puts the chest wall at the right border, but the left one is clearly brighter"},
                 {"the user knows better", film, kRight, kLeft, kNone, kRight, "as given", ""},
                 {"mirrored, as the header knows", film, kNone, kLeft, Laterality::kRight, kLeft, "PatientOrientation",
                  "ImageLaterality says a right breast, but its chest wall is at the left border"},
                 {"mirrored, and no header", film, kNone, kNone, Laterality::kRight, kLeft,
                  "more tissue lies at the left border", ""},
                 {"pixels do not tell", even, kNone, kRight, kNone, kRight, "PatientOrientation", ""},
                 {"laterality at last", even, kNone, kNone, Laterality::kRight, kRight, "a right breast", ""}};
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        SourceImage source = row.image;
        if (row.header) source.chest_wall = Host::Sourced{*row.header, "PatientOrientation"};
        if (row.laterality) source.laterality = Host::Sourced{*row.laterality, "ImageLaterality"};
        AnalysisOptions options;
        options.side = row.given;
        options.noise = BG_MG;
        const auto analysis = Host::analyse(source, options);
        EXPECT_EQ(row.expected, analysis.settings.side.value);
        EXPECT_THAT(analysis.settings.side.from, HasSubstr(row.reason));
        std::string warnings;
        for (const std::string& warning : analysis.warnings) warnings += warning;
        EXPECT_THAT(warnings, HasSubstr(row.warning));
        EXPECT_EQ(*row.warning != '\0', warnings.find("chest wall") != std::string::npos);
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
    const auto prepared = grey_image(100, 100, grey_at);
    const Host::Region breast(rectangle(0, 59, 20, 79)), frame(rectangle(0, 99, 0, 79)), empty;
    EXPECT_NEAR(std::log(20256.0 / 2256.0), Host::outline_contrast(*prepared, breast, frame), 1e-9);
    EXPECT_EQ(0.0, Host::outline_contrast(*prepared, empty, frame));
}

}  // namespace
}  // namespace Norvane::Tests
