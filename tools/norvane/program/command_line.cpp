// SPDX-License-Identifier: Apache-2.0
#include "program/command_line.h"

#include "analysis/noise_choice.h"
#include "program/program.h"
#include "results/result_files.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <ostream>

namespace Norvane::Host {
namespace {

constexpr const char* kExitCodes =
    "Exit code: 0 everything was done, 1 some input was refused or failed (a line on standard error names it), 2 the "
    "command line is wrong. A status other than 0, such as \"tissue cut\", is a result and not a failure: it tells how "
    "far to trust the masks.";

/// Option texts as the user typed them, checked by CLI11 as far as it can.
struct RawOptions {
    std::string side;
    std::string view;
    std::string noise;
    std::string padding;
    double pixel_size_um = 0.0;
    std::vector<std::string> results;
    std::string frame = "collimation";
    std::string look = "film";
};

std::vector<std::string> noise_names() {
    std::vector<std::string> names;
    names.reserve(kNoiseNames.size());
    for (const auto& [name, value] : kNoiseNames) names.emplace_back(name);
    return names;
}

std::vector<std::string> result_names_known() {
    std::vector<std::string> names;
    for (const ResultKind& kind : result_kinds()) names.emplace_back(kind.name);
    return names;
}

std::string results_help() {
    std::string text = "What is written, names with commas between:";
    for (const ResultKind& kind : result_kinds()) {
        text += std::string(kind.is_default ? " [" : " ") + kind.name + (kind.is_default ? "] " : " ");
        text += std::string("(") + kind.description + ")";
    }
    return text;
}

IMAGE_SIDE side_of(const std::string& text) { return text == "left" ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT; }
IMAGE_VIEW view_of(const std::string& text) { return text == "mlo" ? VIEW_PECT : VIEW_NO_PECT; }

std::optional<PaddingRange> padding_of(const std::string& text) {
    PaddingRange range{};
    const char* end = text.data() + text.size();
    const auto low = std::from_chars(text.data(), end, range.low);
    if (low.ec != std::errc() || low.ptr == end || *low.ptr != ':') return std::nullopt;
    const auto high = std::from_chars(low.ptr + 1, end, range.high);
    if (high.ec != std::errc() || high.ptr != end || range.low > range.high) return std::nullopt;
    return range;
}

std::string check_padding(const std::string& text) {
    return padding_of(text) ? std::string() : "'" + text + "' is not LO:HI with 0 <= LO <= HI <= 65535";
}

CLI::App* add_masks(CLI::App& app, MasksOptions& options, RawOptions& raw) {
    CLI::App* masks = app.add_subcommand("masks", "Find frame, breast, pectoral muscle and full mask of mammograms");
    masks->add_option("FILE", options.files, "PNG (8 or 16 bit grey), PGM, or DICOM (uncompressed, RLE, JPEG lossless)")
        ->required();
    masks->add_option("--out-dir", options.out_dir, "Folder of the results; made if it is missing")
        ->capture_default_str();
    masks->add_option("--results", raw.results, results_help())
        ->delimiter(',')
        ->check(CLI::IsMember(result_names_known()));
    masks->add_option("--side", raw.side, "Image border at which the chest wall lies [the brighter one]")
        ->check(CLI::IsMember({"left", "right"}));
    masks->add_option("--view", raw.view, "mlo: with pectoral muscle, cc: without [what the file says]")
        ->check(CLI::IsMember({"mlo", "cc"}));
    masks->add_option("--pixel-size", raw.pixel_size_um, "Pixel size in micrometres, up to 228 [what the file says]")
        ->check(CLI::PositiveNumber);
    masks->add_option("--noise", raw.noise, "Class of the background [mg where it is black and flat, else auto-coarse]")
        ->check(CLI::IsMember(noise_names()));
    masks
        ->add_option("--padding", raw.padding,
                     "Grey values LO:HI of the file that are background; takes the class given-level")
        ->check(check_padding);
    masks->add_flag("--invert", options.analysis.is_inverted, "Tissue is dark on a bright background");
    masks->add_flag("--fast", options.analysis.is_fast, "Fast search of the contour (other results)");
    masks->add_flag("--contour", options.analysis.wants_contour,
                    "Add 720 points of the outline to the JSON: mlo traced around breast and upper muscle, cc from the "
                    "fast search");
    masks->footer(kExitCodes);
    return masks;
}

CLI::App* add_phantom(CLI::App& app, PhantomOptions& options, RawOptions& raw) {
    CLI::App* phantom = app.add_subcommand("phantom", "Draw a synthetic mammogram whose masks are known");
    phantom->add_option("FILE", options.file, "PNG file to write")->required();
    phantom->add_option("--labels", options.labels_file,
                        "PNG file for the truth: 0 frame, 64 background, 128 breast, 255 pectoral muscle");
    phantom->add_option("--side", raw.side, "Border of the chest wall [left]")->check(CLI::IsMember({"left", "right"}));
    phantom->add_option("--view", raw.view, "mlo with pectoral muscle, cc without [mlo]")
        ->check(CLI::IsMember({"mlo", "cc"}));
    phantom->add_option("--frame", raw.frame, "Bright collimation frame around the field, or none")
        ->check(CLI::IsMember({"collimation", "none"}))
        ->capture_default_str();
    phantom->add_option("--look", raw.look, "film: grey, noisy background; digital: black and flat")
        ->check(CLI::IsMember({"film", "digital"}))
        ->capture_default_str();
    PhantomSpec& settings = options.settings;
    phantom->add_option("--seed", settings.seed, "Texture and noise")->capture_default_str();
    phantom->add_option("--width", settings.width, "Pixels")->check(CLI::Range(64U, 8192U))->capture_default_str();
    phantom->add_option("--height", settings.height, "Pixels")->check(CLI::Range(64U, 8192U))->capture_default_str();
    phantom->add_option("--pixel-size", settings.pixel_size_um, "Micrometres")
        ->check(CLI::Range(10.0, 1000.0))
        ->capture_default_str();
    phantom->add_option("--bits", settings.used_bits, "Used bits of the samples")
        ->check(CLI::Range(8U, 16U))
        ->capture_default_str();
    phantom->add_option("--noise", settings.noise, "Noise, as a share of the full range")
        ->check(CLI::Range(0.0, 0.2))
        ->capture_default_str();
    return phantom;
}

MasksOptions finish(MasksOptions options, const RawOptions& raw) {
    AnalysisOptions& analysis = options.analysis;
    if (!raw.side.empty()) analysis.side = side_of(raw.side);
    if (!raw.view.empty()) analysis.view = view_of(raw.view);
    if (raw.pixel_size_um > 0.0) analysis.pixel_size_um = raw.pixel_size_um;
    for (const auto& [name, value] : kNoiseNames) {
        if (raw.noise == name) analysis.noise = value;
    }
    analysis.padding = padding_of(raw.padding);
    if (analysis.padding && analysis.noise.value_or(BG_GIVEN_LEVEL) != BG_GIVEN_LEVEL) {
        throw CLI::ValidationError("--padding contradicts --noise " + raw.noise +
                                   ": only the class given-level looks at padding values");
    }
    for (const ResultKind& kind : result_kinds()) {
        if (raw.results.empty() && kind.is_default) options.results.emplace_back(kind.name);
    }
    for (const std::string& name : raw.results) options.results.push_back(name);
    return options;
}

PhantomOptions finish(PhantomOptions options, const RawOptions& raw) {
    options.settings.side = raw.side.empty() ? SIDE_CHEST_LEFT : side_of(raw.side);
    options.settings.view = raw.view.empty() ? VIEW_PECT : view_of(raw.view);
    options.settings.frame = raw.frame == "none" ? PhantomFrame::kNone : PhantomFrame::kCollimation;
    options.settings.look = raw.look == "digital" ? PhantomLook::kDigital : PhantomLook::kFilm;
    return options;
}

}  // namespace

Command parse_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CLI::App app("Norvane: masks of mammograms", "norvane");
    app.require_subcommand(1);
    app.footer(kExitCodes);
    MasksOptions masks_options;
    PhantomOptions phantom_options;
    RawOptions raw;
    const CLI::App* masks = add_masks(app, masks_options, raw);
    add_phantom(app, phantom_options, raw);
    try {
        app.parse(argc, argv);
        if (masks->parsed()) return finish(std::move(masks_options), raw);
        return finish(std::move(phantom_options), raw);
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err) == 0 ? kExitDone : kExitUsage;
    }
}

}  // namespace Norvane::Host
