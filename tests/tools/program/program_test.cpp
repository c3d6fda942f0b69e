// SPDX-License-Identifier: Apache-2.0
#include "analysis/image_rows.h"
#include "analysis/masks_run.h"
#include "analysis/noise_choice.h"
#include "phantom/phantom.h"
#include "results/program_version.h"
#include "support/builders.h"
#include "tools/host_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>

// The font library keeps its tables until the end of the process.
extern "C" const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }

namespace Norvane::Tests {
namespace {

using Host::PhantomFrame;
using Host::PhantomLook;
using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Host::PhantomSettings small_phantom() {
    Host::PhantomSettings settings;
    settings.width = 750;
    settings.height = 1000;
    settings.pixel_size_um = 220.0;
    return settings;
}

Host::PreparedImage prepare(const Host::Phantom& phantom) {
    Host::SourceImage source;
    source.used_bits = phantom.settings.used_bits;
    source.width = phantom.settings.width;
    source.height = phantom.settings.height;
    source.samples = phantom.pixels;
    return Host::prepare_source(source, Host::whole_of(source), phantom.settings.pixel_size_um);
}

// Overlap of a mask with the pixels whose label is at least `least`, both seen at the working grid.
double dice(Mask& mask, const Host::Phantom& truth, const Image& prepared, unsigned least) {
    const Host::MaskBitmap bitmap = Host::bitmap_of(mask, prepared.GetWidth(), prepared.GetHeight());
    double both = 0.0;
    double sum = 0.0;
    for (unsigned y = 0; y < bitmap.height; ++y) {
        for (unsigned x = 0; x < bitmap.width; ++x) {
            const auto source_x = std::size_t{x} * truth.settings.width / bitmap.width;
            const auto source_y = std::size_t{y} * truth.settings.height / bitmap.height;
            const bool is_true = truth.labels[source_y * truth.settings.width + source_x] >= least;
            both += is_true && bitmap.at(x, y) ? 2.0 : 0.0;
            sum += (is_true ? 1.0 : 0.0) + (bitmap.at(x, y) ? 1.0 : 0.0);
        }
    }
    return both / sum;
}

// Film with and without a bright frame, and a digital look: its class looks for padding and not for a frame.
TEST(Phantom, MasksMeetTheTruth) {
    for (unsigned i = 0; i < 12; ++i) {
        Host::PhantomSettings settings = small_phantom();
        settings.side = i % 2 == 0 ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        settings.view = i / 2 % 2 == 0 ? VIEW_PECT : VIEW_NO_PECT;
        settings.frame = i < 4 ? PhantomFrame::kCollimation : PhantomFrame::kNone;
        settings.look = i < 8 ? PhantomLook::kFilm : PhantomLook::kDigital;
        const Host::Phantom phantom = Host::draw_phantom(settings);
        Host::PreparedImage prepared = prepare(phantom);
        const auto noise = Host::choose_noise(*prepared.image);
        EXPECT_EQ(i < 8 ? BG_AUTO_COARSE : BG_MG, noise.noise) << noise.reason;

        auto masks = Host::run_masks(prepared, {settings.side, settings.view, noise.noise, false, false});
        const Image& image = *prepared.image;
        const bool has_muscle = settings.view == VIEW_PECT;
        EXPECT_EQ(Masking::MASK_OK, masks.full.status) << i;
        EXPECT_GT(dice(masks.breast.mask, phantom, image, Host::kLabelBreast), 0.97) << i;
        EXPECT_GT(dice(masks.full.mask, phantom, image, Host::kLabelBreast), 0.97) << i;
        EXPECT_GT(dice(masks.frame.mask, phantom, image, Host::kLabelBackground), 0.90) << i;
        EXPECT_EQ(has_muscle ? Masking::MASK_OK : Masking::MASK_PECT_NOT_APPLICABLE, masks.pectoral.status) << i;
        const double muscle_overlap = dice(masks.pectoral.mask, phantom, image, Host::kLabelPectoral);
        EXPECT_GT(has_muscle ? muscle_overlap : 1.0, 0.95) << i;
    }
}

TEST(RunMasks, ContourPointsLieOnTheOutlineThatTheyAreSaidToBe) {
    for (const IMAGE_VIEW view : {VIEW_PECT, VIEW_NO_PECT}) {
        Host::PhantomSettings settings = small_phantom();
        settings.view = view;
        Host::PreparedImage prepared = prepare(Host::draw_phantom(settings));
        const auto masks = Host::run_masks(prepared, {settings.side, view, BG_AUTO_COARSE, false, true});
        ASSERT_TRUE(masks.contour);
        EXPECT_EQ(Masking::MASK_OK, masks.contour->status) << view;
        ASSERT_EQ(1440U, masks.contour->points.size()) << view;
        const Bitmap full = bitmap_of(masks.full.mask, prepared.image->GetWidth(), prepared.image->GetHeight());
        // Points with both inside and outside within 3 pixels.
        unsigned near = 0;
        for (std::size_t i = 0; i < 1440; i += 2) {
            unsigned inside = 0;
            for (unsigned k = 0; k < 49; ++k) {
                inside += full.at(static_cast<unsigned>(masks.contour->points[i]) + k % 7 - 3,
                                  static_cast<unsigned>(masks.contour->points[i + 1]) + k / 7 - 3);
            }
            near += inside > 0 && inside < 49 ? 1 : 0;
        }
        EXPECT_GT(near, 600U) << view;
    }
}

TEST(RunMasks, ARejectedMuscleIsNoMask) {
    Host::PhantomSettings settings = small_phantom();
    settings.view = VIEW_NO_PECT;
    Host::PreparedImage prepared = prepare(Host::draw_phantom(settings));
    auto masks = Host::run_masks(prepared, {settings.side, VIEW_PECT, BG_AUTO_COARSE, false, false});
    EXPECT_EQ(Masking::MASK_PECT_REJECTED, masks.pectoral.status);
    EXPECT_EQ(0U, Host::area_of(masks.pectoral.mask));
}

using Arguments = std::vector<std::string>;

ProgramRun run_phantom(const std::string& file, const Arguments& options = {}) {
    Arguments arguments{"phantom", file, "--width", "750", "--height", "1000", "--pixel-size", "220"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments);
}

ProgramRun run_masks(const std::string& out_dir, const Arguments& files_and_options) {
    Arguments arguments{"masks", "--out-dir", out_dir};
    arguments.insert(arguments.end(), files_and_options.begin(), files_and_options.end());
    return run(arguments);
}

TEST(Program, PhantomToMasks) {
    const TemporaryFolder folder;
    const std::string exam = folder.path("exam.png");
    EXPECT_EQ(0, run_phantom(exam, {"--labels", folder.path("labels.png"), "--side", "right"}).code);
    EXPECT_THAT(folder.names(), ElementsAre("exam.png", "labels.png"));

    const ProgramRun masks = run_masks(
        folder.path("results/deep"), {exam, "--view", "mlo", "--pixel-size", "220", "--results", "json,overlay,masks"});
    EXPECT_EQ(0, masks.code);
    EXPECT_EQ("", masks.err);
    EXPECT_THAT(masks.out, StartsWith(exam + ": status 0 MASK_OK: The mask can be used.\n"));
    EXPECT_THAT(masks.out, HasSubstr("Chest wall right: the right border is the brighter one"));
    EXPECT_THAT(masks.out, HasSubstr("of 3 classes tried, its breast mask agrees best with the others"));
    EXPECT_THAT(
        folder.names("results/deep"),
        ElementsAre("exam.breast.png", "exam.done", "exam.frame.png", "exam.full.png", "exam.json", "exam.outer.png",
                    "exam.overlay.png", "exam.pectoral.png", "report.html", "summary.csv", "summary.ndjson"));

    // The picture of a mask and its runs in the JSON are the same mask.
    const json report = json::parse(Host::read_bytes(folder.path("results/deep/exam.json")));
    const Host::SourceImage picture = Host::read_image(folder.path("results/deep/exam.full.png"));
    std::vector<std::uint16_t> painted(picture.samples.size());
    for (const json& row : report.at("masks").at("full").at("rows")) {
        for (std::size_t i = 1; i < row.size(); i += 2) {
            for (std::size_t x = row[i]; x <= row[i + 1]; ++x)
                painted.at(row[0].get<std::size_t>() * picture.width + x) = 255;
        }
    }
    EXPECT_EQ(painted, picture.samples);
    EXPECT_EQ(720U, report.at("contour").at("points").size());
}

TEST(Program, OneLinePerRefusedFileAndTheOthersGoOn) {
    const TemporaryFolder folder;
    const std::string exam = folder.path("exam.png");
    ASSERT_EQ(0, run_phantom(exam).code);
    const std::string even = folder.write("even.pgm", "P5 200 200 255\n\xFF" + std::string(39999, 'x'));
    const std::string tiny = folder.write("tiny.pgm", "P5 20 20 255\n" + std::string(400, 'x'));
    const Arguments cc{"--view", "cc"};
    const Arguments size{"--pixel-size", "220"};
    const struct {
        std::string file;
        std::vector<Arguments> options;
        std::string message;
    } table[] = {
        {folder.path("gone.png"), {cc, size}, "does not exist"},
        {exam, {cc}, "does not say its pixel size: give --pixel-size in micrometres"},
        {exam, {size}, "does not say its view: give --view mlo or --view cc"},
        {exam,
         {cc, {"--pixel-size", "300"}},
         "has pixels of 300 micrometres (as given); 228 is the largest size that can be used"},
        {exam,
         {cc, size, {"--noise", "given-level"}},
         "does not say its padding values, which the class given-level needs: give --padding LO:HI"},
        {even, {cc, size, {"--padding", "0:300"}}, "has samples of 8 bits; the padding value 300 does not fit"},
        {even,
         {cc, size},
         "does not show where the chest wall is (mean grey level 30720 on the left, 30720 on the right): give --side"},
        {tiny, {cc, size}, "is too small for a mammogram (19 x 19 pixels of 228 micrometres)"},
    };
    for (const auto& bad : table) {
        Arguments arguments{bad.file};
        for (const Arguments& option : bad.options) arguments.insert(arguments.end(), option.begin(), option.end());
        const ProgramRun refused = run_masks(folder.path("out"), arguments);
        EXPECT_EQ(1, refused.code) << bad.message;
        EXPECT_EQ("norvane: " + bad.file + " " + bad.message + "\n", refused.err);
        EXPECT_EQ("", refused.out);
        EXPECT_THAT(folder.names("out"), ElementsAre("report.html", "summary.csv", "summary.ndjson")) << bad.message;
    }
    const std::string odd = folder.path("caf\xe9.png");  // no UTF-8; it is shown in the picture
    std::filesystem::copy_file(exam, odd);
    const ProgramRun mixed = run_masks(
        folder.path("out"), {tiny, odd, "--view", "mlo", "--pixel-size", "220", "--fast", "--results", "json,overlay"});
    EXPECT_EQ(1, mixed.code);
    EXPECT_THAT(mixed.out, StartsWith(odd + ": status "));
    EXPECT_THAT(folder.names("out"), ElementsAre("caf\xe9.done", "caf\xe9.json", "caf\xe9.overlay.png", "report.html",
                                                 "summary.csv", "summary.ndjson"));
}

TEST(Program, GivenPaddingIsTheBackground) {
    const TemporaryFolder folder;
    ASSERT_EQ(0, run_phantom(folder.path("exam.png"), {"--look", "digital", "--frame", "none", "--bits", "8"}).code);
    const ProgramRun masks = run_masks(
        folder.path("out"), {folder.path("exam.png"), "--view", "mlo", "--pixel-size", "220", "--padding", "0:4"});
    EXPECT_EQ(0, masks.code) << masks.err;
    const json report = json::parse(Host::read_bytes(folder.path("out/exam.json")));
    EXPECT_EQ("given-level", report.at("settings").at("noise").at("value"));
    EXPECT_EQ(14, report.at("contour").at("status").at("number"));
    EXPECT_EQ(720U, report.at("contour").at("points").size());
    EXPECT_GT(report.at("masks").at("breast").at("area_pixels"), 200000);
}

TEST(Program, NothingIsOverwrittenInSilence) {
    const TemporaryFolder folder;
    const std::string exam = folder.path("exam.png");
    const std::string clash = folder.path("exam.full.png");
    ASSERT_EQ(0, run_phantom(exam).code);
    std::filesystem::copy_file(exam, clash);
    const ProgramRun beside = run_masks(folder.path(""), {exam, clash, "--view", "mlo", "--pixel-size", "220"});
    EXPECT_EQ(1, beside.code);
    EXPECT_EQ("norvane: " + exam + " has a result that would overwrite the input " + clash + "\n", beside.err);

    const ProgramRun twins = run_masks(
        folder.path("twins"), {exam, exam, "--view", "mlo", "--pixel-size", "220", "--results", "json", "--no-page"});
    EXPECT_EQ(0, twins.code);
    EXPECT_THAT(folder.names("twins"),
                ElementsAre("exam-2.done", "exam-2.json", "exam.done", "exam.json", "summary.csv", "summary.ndjson"));
    EXPECT_THAT(twins.out, HasSubstr("Results are named exam-2: another input has the name exam\n"));
}

TEST(Program, WhatCannotBeWrittenIsNamed) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "x");
    const ProgramRun masks = run_masks(file, {"a.png"});
    EXPECT_EQ(1, masks.code);
    EXPECT_THAT(masks.err, StartsWith("norvane: the folder " + file + " cannot be made"));
    const ProgramRun phantom = run_phantom(folder.path("none/exam.png"));
    EXPECT_EQ(1, phantom.code);
    EXPECT_THAT(phantom.err, HasSubstr("cannot be written"));
    std::ofstream full("/dev/full");
    std::ostringstream err;
    const std::string image = folder.path("exam.png");
    const std::array<const char*, 3> arguments{"norvane", "phantom", image.c_str()};
    EXPECT_EQ(1, Host::run_program(3, arguments.data(), full, err));
    EXPECT_EQ("norvane: the report cannot be written to standard output\n", err.str());
}

TEST(Program, UsageErrorsAreTwo) {
    const std::vector<Arguments> masks_options{{"--side", "up"},         {"--side", "left", "--side", "right"},
                                               {"--pixel-size", "nan"},  {"--noise", "loud"},
                                               {"--padding", "7"},       {"--padding", "9:7"},
                                               {"--padding", "0:70000"}, {"--padding", "0:7", "--noise", "mg"}};
    std::vector<Arguments> table{{}, {"masks"}, {"paint", "a.png"}, {"phantom", "a.png", "--bits", "17"}};
    for (const Arguments& options : masks_options) {
        table.push_back({"masks", "a.png"});
        table.back().insert(table.back().end(), options.begin(), options.end());
    }
    for (const auto& arguments : table) {
        const ProgramRun wrong = run(arguments);
        EXPECT_EQ(2, wrong.code) << ::testing::PrintToString(arguments);
        EXPECT_NE("", wrong.err);
    }
    const ProgramRun help = run({"masks", "--help"});
    EXPECT_EQ(0, help.code);
    EXPECT_THAT(help.out, HasSubstr("Exit code: 0 everything was done"));
    const ProgramRun version = run({"--version"});
    EXPECT_EQ(0, version.code);
    EXPECT_EQ(std::string("norvane ") + Host::program_version() + "\n", version.out);
    EXPECT_EQ("", version.err);
}

}  // namespace
}  // namespace Norvane::Tests
