// SPDX-License-Identifier: Apache-2.0
#include "run/run_options.h"

#include "export/kinds.h"
#include "io/words.h"
#include "run/profiles.h"
#include "run/reading_options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <thread>

namespace Norvane::Host {
namespace {

constexpr const char* kBatchGroup = "Batch";
constexpr const char* kTriedNoise = "auto";
constexpr unsigned kMostJobs = 1024;
constexpr std::array kMuscleBorderWords{std::pair{"exact", MuscleBorderChoice::kExact},
                                        std::pair{"refined", MuscleBorderChoice::kRefined}};
constexpr std::array kSegGeometryWords{std::pair{"none", SegGeometry::kNone},
                                       std::pair{"viewer", SegGeometry::kViewer}};
constexpr std::array kSegCompressionWords{std::pair{"none", SegCompression::kNone},
                                          std::pair{"deflate", SegCompression::kDeflate},
                                          std::pair{"rle", SegCompression::kRunLengths}};
constexpr std::array kSegTypeWords{std::pair{"binary", SegType::kBinary}, std::pair{"labelmap", SegType::kLabelmap}};
constexpr std::array kReportFormats{std::pair{"text", ReportFormat::kText}, std::pair{"json", ReportFormat::kJson}};

// Two numbers separated by `separator`. The first must not be above the second.
template <class Number>
std::pair<Number, Number> range_of(const std::string& text, char separator, Number least, const char* expected) {
    std::pair<Number, Number> pair{};
    const char* end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, pair.first);
    if (first.ec == std::errc() && first.ptr != end && *first.ptr == separator) {
        const auto second = std::from_chars(first.ptr + 1, end, pair.second);
        const bool is_whole = second.ec == std::errc() && second.ptr == end;
        if (is_whole && least <= pair.first && pair.first <= pair.second) return pair;
    }
    throw std::invalid_argument("'" + text + "' is not " + expected);
}

std::vector<OptionChoice> noise_choices() {
    std::vector<OptionChoice> choices = choices_of(kNoiseNames);
    choices.insert(choices.begin(), {kTriedNoise});
    return choices;
}

std::vector<OptionChoice> result_choices() {
    std::vector<OptionChoice> choices;
    for (const ResultKind& kind : result_kinds()) choices.push_back({kind.name, kind.description});
    return choices;
}

std::vector<std::string> default_results() {
    std::vector<std::string> names;
    for (const ResultKind& kind : result_kinds()) {
        if (kind.is_default) names.emplace_back(kind.name);
    }
    return names;
}

std::string default_results_text() {
    std::string text;
    for (const std::string& name : default_results()) text += (text.empty() ? "" : ",") + name;
    return text;
}

bool makes(const RunOptions& run, const char* kind) {
    return std::ranges::find(run.results, kind) != run.results.end();
}

std::vector<OptionChoice> profile_choices() {
    std::vector<OptionChoice> choices;
    for (const Profile& profile : profiles()) choices.push_back({profile.name, profile.description});
    return choices;
}

void set_profile(RunOptions& run, const std::string& text) {
    for (const char* kind : std::ranges::find(profiles(), text, &Profile::name)->kinds) {
        if (!makes(run, kind)) run.results.emplace_back(kind);
    }
}

void set_noise(RunOptions& run, const std::string& text) {
    run.analysis.tries_noise = text == kTriedNoise;
    run.analysis.noise = run.analysis.tries_noise ? std::nullopt : std::optional(value_named(kNoiseNames, text));
}

void set_padding(RunOptions& run, const std::string& text) {
    const auto [low, high] = range_of<std::uint16_t>(text, ':', 0, "LO:HI with 0 <= LO <= HI <= 65535");
    run.analysis.padding = PaddingRange{low, high};
}

void set_pixel_size(RunOptions& run, const std::string& text) {
    run.analysis.pixel_size_um = micrometres_of(text);
    run.reading.is_pixel_size_given = true;
}

void set_default_pixel_size(RunOptions& run, const std::string& text) {
    run.analysis.defaults.pixel_size_um = micrometres_of(text);
    run.reading.is_pixel_size_given = true;
}

void set_shard(RunOptions& run, const std::string& text) {
    const auto [number, count] = range_of<unsigned>(text, '/', 1, "K/N with 1 <= K <= N");
    run.shard = Shard{number, count};
}

// Makes the function `set` of a flag.
template <class Set>
auto flag(Set set) {
    return [set](RunOptions& run, const std::string& value) { set(run, value == "true"); };
}

constexpr auto kResults = OptionEffect::kResults;

// Runs take all frames as well.
Option<RunOptions> frames_option() {
    Option<RunOptions> option = frame_option<RunOptions>(kResults);
    option.facts.value = "N|all";
    option.facts.help += ", or all for a result of each";
    option.facts.details = "The results of frame 3 are called NAME.frame3.";
    option.facts.is_of_image = true;
    option.set = [set_one = option.set](RunOptions& run, const std::string& text) {
        run.takes_all_frames = is_all_frames(text);
        if (!run.takes_all_frames) set_one(run, text);
    };
    return option;
}

// Options about what the image shows.
OptionTable<RunOptions> view_options() {
    return {
        {{.name = "side",
          .effect = kResults,
          .choices = choices_of(kSideWords),
          .help = "Image border at which the chest wall lies",
          .otherwise = "what the file says, otherwise the border with more tissue",
          .is_of_image = true},
         [](RunOptions& run, const std::string& text) { run.analysis.side = value_named(kSideWords, text); }},
        {{.name = "view",
          .effect = kResults,
          .choices = choices_of(kViewWords),
          .help = "mlo shows the pectoral muscle, cc does not",
          .otherwise = "what the file says; if it says nothing, it is refused",
          .details = "It holds for every image of the run, whatever its file says. Folders that hold both views need "
                     "--default-view.",
          .is_of_image = true},
         [](RunOptions& run, const std::string& text) { run.analysis.view = value_named(kViewWords, text); }},
        {{.name = "pixel-size",
          .effect = kResults,
          .value = "UM",
          .help = "Pixel size in micrometres, up to 228",
          .otherwise = "what the file says; if it says nothing, it is refused",
          .is_of_image = true},
         set_pixel_size},
        frames_option(),
    };
}

// What holds for images that do not say it.
OptionTable<RunOptions> default_options() {
    return {
        {{.name = "default-side",
          .effect = kResults,
          .choices = choices_of(kSideWords),
          .help = "Border of the chest wall in images that neither say nor show it",
          .otherwise = "such an image is refused"},
         [](RunOptions& run, const std::string& text) { run.analysis.defaults.side = value_named(kSideWords, text); }},
        {{.name = "default-view",
          .effect = kResults,
          .choices = choices_of(kViewWords),
          .help = "View of images whose files do not say it",
          .otherwise = "such an image is refused"},
         [](RunOptions& run, const std::string& text) { run.analysis.defaults.view = value_named(kViewWords, text); }},
        {{.name = "default-pixel-size",
          .effect = kResults,
          .value = "UM",
          .help = "Pixel size of images whose files do not say it, in micrometres",
          .otherwise = "such an image is refused"},
         set_default_pixel_size},
        modality_option<RunOptions>(kResults),
    };
}

// Options about the analysis.
OptionTable<RunOptions> analysis_options() {
    return {
        {{.name = "crop",
          .effect = kResults,
          .choices = {{"auto"}, {"none"}},
          .help = "auto cuts off the black and white borders that a scanner or an archive added; none keeps the whole "
                  "image",
          .otherwise = "auto"},
         [](RunOptions& run, const std::string& text) { run.analysis.crops_film_area = text == "auto"; }},
        {{.name = "noise",
          .effect = kResults,
          .value = "CLASS",
          .choices = noise_choices(),
          .help = "Noise class of the background; auto tries several and takes the one whose breast mask agrees best "
                  "with those of the others",
          .otherwise = "what the file says, otherwise auto",
          .is_of_image = true},
         set_noise},
        {{.name = "padding",
          .effect = kResults,
          .value = "LO:HI",
          .help = "Grey values of the background; implies --noise given-level",
          .otherwise = "what the file says"},
         set_padding},
        {{.name = "invert",
          .kind = OptionKind::kFlag,
          .effect = kResults,
          .help = "Tissue is dark on a bright background",
          .otherwise = "what the file says"},
         flag([](RunOptions& run, bool is_on) { run.analysis.is_inverted = is_on; })},
        {{.name = "muscle",
          .effect = kResults,
          .choices = choices_of(kMuscleBorderWords),
          .help = "Border of the pectoral muscle in all results: exact is the library's straight line, refined follows "
                  "the image",
          .otherwise = "exact",
          .details = "The JSON holds both, and the page shows both."},
         [](RunOptions& run, const std::string& text) { run.analysis.muscle = value_named(kMuscleBorderWords, text); }},
        {{.name = "fast",
          .kind = OptionKind::kFlag,
          .effect = kResults,
          .help = "Use the fast search for the contour; its results differ from those of the default search"},
         flag([](RunOptions& run, bool is_on) { run.analysis.is_fast = is_on; })},
        {{.name = "contour",
          .kind = OptionKind::kTwoWayFlag,
          .effect = kResults,
          .help = "Include 720 outline points in the JSON, or none",
          .otherwise = "included",
          .details = "In the view mlo, the outline is traced around breast and upper muscle. In cc, it comes from the "
                     "fast search."},
         flag([](RunOptions& run, bool is_on) { run.analysis.wants_contour = is_on; })},
    };
}

OptionTable<RunOptions> result_options() {
    return {
        {{.name = "out-dir",
          .value = "FOLDER",
          .group = kBatchGroup,
          .help = "Folder for the results; it is created if it does not exist",
          .otherwise = RunOptions().out_dir},
         [](RunOptions& run, const std::string& text) { run.out_dir = text; }},
        {{.name = "results",
          .kind = OptionKind::kList,  // no .effect: stamps hold the kinds anyway, also the default ones
          .value = "KIND,...",
          .choices = result_choices(),
          .group = kBatchGroup,
          .help = "Kinds of results to write for each image, separated by commas",
          .otherwise = default_results_text()},
         [](RunOptions& run, const std::string& text) { run.results.push_back(text); }},
        {{.name = "for",  // no .effect, like results
          .choices = profile_choices(),
          .group = kBatchGroup,
          .help = "Write what an archive, a reading station or training needs, besides the kinds of --results",
          .otherwise = "only those",
          .details = "--dry-run shows the kinds."},
         set_profile},
        {{.name = "no-page",
          .kind = OptionKind::kFlag,
          .group = kBatchGroup,
          .help = "Do not write report.html and its pictures"},
         flag([](RunOptions& run, bool is_on) { run.has_page = !is_on; })},
    };
}

// Options about the form of DICOM SEG.
OptionTable<RunOptions> seg_options() {
    return {
        {{.name = "seg-geometry",
          .effect = kResults,
          .choices = choices_of(kSegGeometryWords),
          .group = kBatchGroup,
          .help = "Geometry in DICOM SEG: none, or viewer for software that does not open a SEG without a plane and a "
                  "pixel size",
          .otherwise = "none",
          .details = "viewer makes the plane of each image a frame of reference of its own. It says nothing about "
                     "where the image lies in the patient."},
         [](RunOptions& run, const std::string& text) {
             run.analysis.seg.geometry = value_named(kSegGeometryWords, text);
         }},
        {{.name = "seg-type",
          .effect = kResults,
          .choices = choices_of(kSegTypeWords),
          .group = kBatchGroup,
          .help = "DICOM SEG as binary frames, one a segment, or as one labelmap",
          .otherwise = "binary",
          .details =
              "labelmap is Label Map Segmentation Storage, which DICOM has since 2024. Older software refuses it."},
         [](RunOptions& run, const std::string& text) { run.analysis.seg.type = value_named(kSegTypeWords, text); }},
        {{.name = "seg-compression",
          .effect = kResults,
          .choices = choices_of(kSegCompressionWords),
          .group = kBatchGroup,
          .help = "Compression of DICOM SEG: none, deflate for the whole object, or rle for the pixels of a label map",
          .otherwise = "none",
          .details = "deflate is the transfer syntax Deflated Explicit VR Little Endian, rle is RLE Lossless."},
         [](RunOptions& run, const std::string& text) {
             run.analysis.seg.compression = value_named(kSegCompressionWords, text);
         }},
    };
}

OptionTable<RunOptions> report_options() {
    return {
        {{.name = "format",
          .choices = choices_of(kReportFormats),
          .group = kBatchGroup,
          .help = "Report on standard output: text, or one JSON record per line",
          .otherwise = "text",
          .is_of_command = true},
         [](RunOptions& run, const std::string& text) { run.report_format = value_named(kReportFormats, text); }},
        {{.name = "verbose",
          .letter = 'v',
          .kind = OptionKind::kFlag,
          .group = kBatchGroup,
          .help = "Report the settings of each image, where they come from, its warnings and its results",
          .otherwise = "one line per image",
          .is_of_command = true},
         flag([](RunOptions& run, bool is_on) { run.verbosity = is_on ? Verbosity::kDetails : Verbosity::kLine; })},
        {{.name = "quiet",
          .letter = 'q',
          .kind = OptionKind::kFlag,
          .group = kBatchGroup,
          .help = "Report only refusals and the end of the run",
          .otherwise = "one line per image",
          .is_of_command = true},
         flag([](RunOptions& run, bool is_on) { run.verbosity = is_on ? Verbosity::kQuiet : run.verbosity; })},
        {{.name = "dry-run",
          .kind = OptionKind::kFlag,
          .group = kBatchGroup,
          .help = "Show what would be done and write nothing",
          .is_of_command = true},
         flag([](RunOptions& run, bool is_on) { run.is_dry_run = is_on; })},
    };
}

OptionTable<RunOptions> batch_options() {
    return {
        {{.name = "jobs",
          .value = "N",
          .range = {{1, kMostJobs}},
          .group = kBatchGroup,
          .help = "Number of images to process at the same time",
          .otherwise = "one per processor",
          .is_of_command = true},
         [](RunOptions& run, const std::string& text) { run.jobs = whole_number_of(text); }},
        memory_option<RunOptions>(kBatchGroup),
        decode_option<RunOptions>(kBatchGroup),
        {{.name = "manifest",
          .value = "FILE",
          .group = kBatchGroup,
          .help = "File that lists inputs, one per line, or a CSV with a column file; - is standard input",
          .details = "The CSV has a header. Its columns side, view, pixel-size, noise and frame are options for the "
                     "image of the row and come before those of the command line. An empty cell says nothing, and "
                     "other columns are not used."},
         [](RunOptions& run, const std::string& text) { run.manifest = text; }},
        {{.name = "root",
          .value = "FOLDER",
          .group = kBatchGroup,
          .help = "For inputs below this folder, results keep the path relative to it"},
         [](RunOptions& run, const std::string& text) { run.root = text; }},
        {{.name = "resume",
          .kind = OptionKind::kFlag,
          .group = kBatchGroup,
          .help = "Skip images whose results are up to date: same file, options and version"},
         flag([](RunOptions& run, bool is_on) { run.is_resumed = is_on; })},
        {{.name = "shard",
          .value = "K/N",
          .group = kBatchGroup,
          .help = "Process only part K of N; the N parts together process all images",
          .details = "Several machines can each process a part. A run with --resume and without --shard then makes the "
                     "page of all images."},
         set_shard},
        {{.name = "fail-list",
          .value = "FILE",
          .group = kBatchGroup,
          .help = "Write the inputs that failed to this file, one per line; it can be the manifest of the next run"},
         [](RunOptions& run, const std::string& text) { run.fail_list = text; }},
        {{.name = "null",
          .letter = '0',
          .kind = OptionKind::kFlag,
          .group = kBatchGroup,
          .help = "Names in --manifest and --fail-list end with a NUL byte, like those of find -print0",
          .otherwise = "with a line feed",
          .details = "Without this option, a name with a line feed is left out of the list of failures; a line on "
                     "standard error says so."},
         flag([](RunOptions& run, bool is_on) { run.list_end = is_on ? '\0' : '\n'; })},
    };
}

}  // namespace

const OptionTable<RunOptions>& run_option_table() {
    static const OptionTable<RunOptions> table = [] {
        OptionTable<RunOptions> all = view_options();
        for (const OptionTable<RunOptions>& more :
             {default_options(), analysis_options(), identifier_options<RunOptions>(kResults, "Options"),
              result_options(), seg_options(), report_options(), batch_options()}) {
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }();
    return table;
}

ImageOptions options_of_image(const RunOptions& run, const GivenOptions& own) {
    RunOptions image;
    image.analysis = run.analysis;
    image.reading = run.reading;
    set_options(image, run_option_table(), own);
    return {image.analysis, image.reading};
}

std::vector<std::string> options_of_images() {
    std::vector<std::string> names;
    for (const Option<RunOptions>& option : run_option_table()) {
        if (option.facts.is_of_image) names.push_back(option.facts.name);
    }
    return names;
}

RunOptions run_options_of(const std::vector<std::string>& inputs, const GivenOptions& given) {
    RunOptions run;
    run.inputs = inputs;
    run.jobs = std::max(1U, std::thread::hardware_concurrency());
    set_options(run, run_option_table(), given);
    if (run.inputs.empty() && run.manifest.empty()) throw WrongOption("", "FILE or --manifest is required");
    const AnalysisOptions& analysis = run.analysis;
    if (analysis.padding && (analysis.tries_noise || analysis.noise.value_or(BG_GIVEN_LEVEL) != BG_GIVEN_LEVEL)) {
        throw WrongOption("padding", "contradicts --noise " + given.at("noise").back() +
                                         ": only the class given-level uses padding values");
    }
    const SegForm& seg = analysis.seg;
    if (seg.compression == SegCompression::kRunLengths && seg.type != SegType::kLabelmap) {
        throw WrongOption("seg-compression", "rle needs --seg-type labelmap");
    }
    if (run.results.empty()) run.results = default_results();
    if (!run.has_page) std::erase(run.results, "page");
    run.analysis.seg.is_written = makes(run, "seg");
    if (makes(run, "gsps") && run.reading.identifiers == Identifiers::kNone) {
        throw WrongOption("no-identifiers", "contradicts the result gsps, which must name its image");
    }
    run.analysis.image_memory = run.reading.image_memory;
    run.stamp_text = stamp_text_of(facts_of(run_option_table()), given);
    return run;
}

}  // namespace Norvane::Host
