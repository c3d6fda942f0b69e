// SPDX-License-Identifier: Apache-2.0
#include "verbs/masks_options.h"

#include "export/kinds.h"
#include "findings/noise_choice.h"
#include "option_texts.h"

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr const char* kBatchGroup = "Batch";
constexpr unsigned kMostJobs = 1024;

constexpr const char* kTriedNoise = "auto";

std::vector<std::string> noise_names() {
    std::vector<std::string> names{kTriedNoise};
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

std::optional<PaddingRange> padding_of(const std::string& text) {
    const auto range = number_pair_of<std::uint16_t>(text, ':');
    if (!range || range->first > range->second) return std::nullopt;
    return PaddingRange{range->first, range->second};
}

std::string check_padding(const std::string& text) {
    return padding_of(text) ? std::string() : "'" + text + "' is not LO:HI with 0 <= LO <= HI <= 65535";
}

std::optional<Shard> shard_of(const std::string& text) {
    const auto numbers = number_pair_of<unsigned>(text, '/');
    if (!numbers || numbers->first == 0 || numbers->first > numbers->second) return std::nullopt;
    return Shard{numbers->first, numbers->second};
}

std::string check_shard(const std::string& text) {
    return shard_of(text) ? std::string() : "'" + text + "' is not K/N with 1 <= K <= N";
}

}  // namespace

MasksOptionSet::MasksOptionSet(CLI::App& app)
    : verb(app.add_subcommand("masks", "Find frame, breast, pectoral muscle and full mask of mammograms")) {
    verb->add_option("FILE", options.inputs,
                     "DICOM, TIFF, PNG or PGM with grey pixels; or a folder, whose images are found by their content");
    verb->add_option("--out-dir", options.out_dir, "Folder of the results; made if it is missing")
        ->group(kBatchGroup)
        ->capture_default_str();
    add_analysis_options();
    add_batch_options();
    verb->footer(kExitCodesHelp);
}

void MasksOptionSet::add_analysis_options() {
    changes_results(verb->add_option("--side", side, "Image border at which the chest wall lies [the brighter one]")
                        ->check(CLI::IsMember(kSideNames)));
    changes_results(verb->add_option("--view", view, "mlo: with pectoral muscle, cc: without [what the file says]")
                        ->check(CLI::IsMember(kViewNames)));
    changes_results(
        verb->add_option("--pixel-size", pixel_size_um, "Pixel size in micrometres, up to 228 [what the file says]")
            ->check(check_positive));
    changes_results(add_frame_option(*verb, options.reading));
    changes_results(
        verb->add_option("--crop", crop,
                         "auto: work on the film inside the borders of its scanner; none: on the whole image")
            ->check(CLI::IsMember({"auto", "none"}))
            ->capture_default_str());
    changes_results(
        verb->add_option("--noise", noise,
                         "Class of the background; auto tries several on the image [what the file says, else auto]")
            ->check(CLI::IsMember(noise_names())));
    changes_results(verb->add_option("--padding", padding,
                                     "Grey values LO:HI of the file that are background; takes the class given-level")
                        ->check(check_padding));
    changes_results(verb->add_flag("--invert", options.analysis.is_inverted, "Tissue is dark on a bright background"));
    changes_results(verb->add_flag("--fast", options.analysis.is_fast, "Fast search of the contour (other results)"));
    changes_results(verb->add_flag(
        "--contour,!--no-contour", options.analysis.wants_contour,
        "Whether the JSON holds 720 points of the outline: mlo traced around breast and upper muscle, cc "
        "from the fast search [it does]"));
}

void MasksOptionSet::add_batch_options() {
    const auto in_group = [](CLI::Option* option) { return option->group(kBatchGroup); };
    in_group(verb->add_option("--results", options.results, results_help()))  // stamps hold the kinds, defaults too
        ->delimiter(',')
        ->allow_extra_args(false)  // what follows is a FILE
        ->check(CLI::IsMember(result_names_known()));
    in_group(verb->add_option("--jobs", options.jobs, "Images at a time [one per processor]"))
        ->check(CLI::Range(1U, kMostJobs));
    in_group(add_memory_option(*verb, options.reading));
    in_group(verb->add_option("--manifest", options.manifest, "File with one input a line, or - for standard input"));
    in_group(verb->add_option("--root", options.root,
                              "Results of inputs below this folder keep their path below it, as those of a folder that "
                              "is given do"));
    in_group(verb->add_flag("--resume", options.is_resumed,
                            "Pass over images whose results match their size, time and options"));
    in_group(verb->add_option("--shard", shard, "Do only part K of N: K/N; all parts together do everything"))
        ->check(check_shard);
    in_group(verb->add_option("--fail-list", options.fail_list, "File for the inputs that failed, one a line"));
    in_group(verb->add_flag_callback(
        "-0,--null", [this] { options.list_end = '\0'; },
        "Names in --manifest and --fail-list end with a NUL byte, as those of find -print0, not with a line feed"));
    in_group(add_decode_option(*verb, options.reading));
    in_group(verb->add_flag("--dry-run", options.is_dry_run, "Say what would be done and write nothing"));
    in_group(verb->add_option("--format", format, "Report on standard output: text, or a JSON record a line"))
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
    in_group(verb->add_flag_callback(
        "--no-page", [this] { options.has_page = false; }, "Write no report.html, nor its pictures"));
}

void MasksOptionSet::take_analysis_texts() {
    AnalysisOptions& analysis = options.analysis;
    if (!side.empty()) analysis.side = side_of(side);
    if (!view.empty()) analysis.view = view_of(view);
    if (pixel_size_um > 0.0) analysis.pixel_size_um = pixel_size_um;
    options.reading.is_pixel_size_given = pixel_size_um > 0.0;
    analysis.crops_film_area = crop == "auto";
    analysis.tries_noise = noise == kTriedNoise;
    for (const auto& [name, value] : kNoiseNames) {
        if (noise == name) analysis.noise = value;
    }
    analysis.padding = padding_of(padding);
    const bool is_other_noise = analysis.tries_noise || analysis.noise.value_or(BG_GIVEN_LEVEL) != BG_GIVEN_LEVEL;
    if (analysis.padding && is_other_noise) {
        throw CLI::ValidationError("--padding contradicts --noise " + noise +
                                   ": only the class given-level looks at padding values");
    }
}

// The options that change results as they were given, in the order of the help.
std::string MasksOptionSet::text_for_stamps() const {
    std::string text;
    for (const CLI::Option* option : result_options) {
        if (option->count() == 0) continue;
        text += option->get_name();
        for (const std::string& value : option->results()) text += "=" + value;
        text += ' ';
    }
    return text;
}

MasksOptions MasksOptionSet::finish() {
    if (options.inputs.empty() && options.manifest.empty()) throw CLI::RequiredError("FILE or --manifest");
    take_analysis_texts();
    for (const ResultKind& kind : result_kinds()) {
        if (verb->count("--results") == 0 && kind.is_default) options.results.emplace_back(kind.name);
    }
    if (!options.has_page) std::erase(options.results, "page");
    if (options.jobs == 0) options.jobs = std::max(1U, std::thread::hardware_concurrency());
    options.analysis.image_memory = options.reading.image_memory;
    options.shard = shard_of(shard);
    options.report_format = format == "json" ? ReportFormat::kJson : ReportFormat::kText;
    options.stamp_text = text_for_stamps();
    return options;
}

}  // namespace Norvane::Host
