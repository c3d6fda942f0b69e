// SPDX-License-Identifier: Apache-2.0
#include "run/image_job.h"

#include "export/kinds.h"
#include "export/program_version.h"
#include "export/settings_text.h"
#include "findings/areas.h"
#include "findings/findings.h"
#include "findings/status_text.h"
#include "io/read_image.h"
#include "io/refusal.h"
#include "run/begun_mark.h"
#include "run/doubt_order.h"
#include "run/output_set.h"
#include "run/result_names.h"
#include "run/stamp.h"

#include <fmt/core.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <new>
#include <utility>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

class Stopwatch {
public:
    /// Seconds since the last call.
    [[nodiscard]] double lap() {
        const auto now = std::chrono::steady_clock::now();
        return std::chrono::duration<double>(now - std::exchange(last, now)).count();
    }

private:
    std::chrono::steady_clock::time_point last = std::chrono::steady_clock::now();
};

void set_settings(ImageRecord& record, const Findings& findings) {
    const ImageSettings& settings = findings.settings;
    record.side = name_of(settings.side.value);
    record.view = name_of(settings.view.value);
    record.noise = name_of(settings.noise.value);
    record.pixel_size_um = settings.pixel_size_um.value;
    record.reasons = {settings.side.from, {}, settings.view.from, settings.noise.from, settings.pixel_size_um.from};
    if (const Said<Laterality>& laterality = findings.source.laterality) {
        record.laterality = name_of(laterality->value);
        record.reasons.laterality = laterality->from;
    }
}

ImageRecord record_of(const Input& input, const Findings& findings) {
    ImageRecord record;
    record.file = input.file;
    record.name = input.name;
    record.status = findings.masks.full.status;
    record.breast_status = findings.masks.breast.status;
    record.pectoral_status = findings.masks.pectoral.status;
    record.format = findings.source.format;
    record.width = findings.source.width;
    record.height = findings.source.height;
    set_settings(record, findings);
    record.areas = areas_of(findings);
    record.outline_contrast = findings.outline_contrast;
    record.flags = findings.source.flags;
    record.warnings = findings.warnings;
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        const Said<std::string>& text = findings.source.texts[i];
        if (text) record.texts[i] = text->value;
    }
    return record;
}

std::string status_line(Masking::MASK_STATUS status) {
    const StatusText& text = text_of(status);
    return fmt::format("status {} {}: {}", static_cast<int>(status), text.name, text.sentence);
}

// Which frame of its file the image is, between `before` and `after`; empty if nothing says it.
std::string frame_text(const Input& input, const char* before, const char* after = "") {
    const std::string frame = own_frame(input);
    return frame.empty() ? "" : fmt::format("{}(frame {}){}", before, frame, after);
}

// "exam.png: status 0 MASK_OK: The mask can be used."
std::string verdict_line(const Input& input, const FoundMasks& masks) {
    return input.file + frame_text(input, " ") + ": " + status_line(masks.full.status);
}

// The status of the image, and in a few words what else a reader should know.
std::string short_report(const Input& input, const Findings& findings) {
    std::string line = verdict_line(input, findings.masks);
    const Masking::MASK_STATUS muscle = findings.masks.pectoral.status;
    if (muscle != findings.masks.full.status && gravity_of(muscle) != kNoDoubt) {
        line += fmt::format(" Pectoral muscle: {}.", text_of(muscle).name);
    }
    if (const std::size_t count = findings.warnings.size(); count > 0) {
        line += fmt::format(" {} warning{}.", count, count == 1 ? "" : "s");
    }
    if (input.name != own_result_name(input)) line += " Results are named " + input.name + ".";
    return line;
}

std::vector<std::string> full_report(const Input& input, const fs::path& stem, const Findings& findings) {
    const FoundMasks& masks = findings.masks;
    std::vector<std::string> lines{verdict_line(input, masks)};
    if (masks.pectoral.status != masks.full.status)
        lines.push_back("    Pectoral muscle: " + status_line(masks.pectoral.status));
    for (const std::string& fact : settings_text(findings)) lines.push_back("    " + fact);
    lines.push_back("    " + areas_text(areas_of(findings)));
    for (const std::string& warning : findings.warnings) lines.push_back("    Warning: " + warning);
    lines.push_back("    Results: " + stem.string() + ".*");
    const std::string own = own_result_name(input);
    if (input.name != own) {
        lines.push_back("    Results are named " + input.name + ": another input has the name " + own);
    }
    return lines;
}

JobOutcome refused(const Input& input, const std::string& why) {
    JobOutcome outcome;
    outcome.record.file = input.file;
    outcome.record.name = input.name;
    outcome.record.refusal = frame_text(input, "", " ") + why;
    return outcome;
}

// Turns every error during one image into its refusal, so that the run continues with the next image.
template <class Work>
JobOutcome guarded(const Input& input, const Work& work) {
    try {
        if (!input.refusal.empty()) return refused(input, input.refusal);
        return work();
    } catch (const NotAnImage& refusal) {
        JobOutcome outcome = refused(input, refusal.what());
        outcome.is_image = input.is_named;
        return outcome;
    } catch (const Refusal& refusal) {
        return refused(input, refusal.what());
    } catch (const std::bad_alloc&) {
        return refused(input, "needs more memory than is available");
    } catch (const std::exception& e) {
        return refused(input, std::string("failed: ") + e.what());
    } catch (...) {
        return refused(input, "failed");
    }
}

std::string stamp_options_of(const RunOptions& options) {
    std::string text = std::string(program_version()) + " " + options.stamp_text + "results=";
    for (const std::string& kind : options.results) text += kind + ",";
    return text;
}

// Of one image: what the run says, and what holds for this image alone.
std::string stamp_origin_of(const Input& input, const std::string& run_options) {
    if (input.own.empty()) return stamp_origin(input.file, run_options);
    return stamp_origin(input.file, run_options + " own " + stamp_text_of(facts_of(run_option_table()), input.own));
}

// The record of an earlier run, if its results exist and are up to date.
std::optional<ImageRecord> kept_record(const Input& input, const std::optional<ResultFolder>& folder,
                                       const std::optional<Stamp>& stamp, const std::string& origin) {
    if (!stamp) return std::nullopt;
    auto kept = record_if_done(*folder, *stamp, origin);
    if (!kept) return std::nullopt;
    kept->file = input.file;  // the record is UTF-8, but the file name need not be
    kept->name = input.name;
    kept->is_kept = true;
    return kept;
}

void require_few_deaths(const ResultFolder& folder, const std::string& stem) {
    const unsigned deaths = deaths_of(folder, stem);
    if (deaths < kMostDeaths) return;
    throw Refusal(
        fmt::format("is skipped, because {} runs died while they processed it; without --resume it is tried again",
                    deaths == 2 ? std::string("two") : std::to_string(deaths)));
}

// Exists while an image is processed. If the process dies meanwhile, the next run finds out. If the image is completed,
// earlier deaths are forgotten.
class Attempt {
public:
    Attempt(const Workplace& place, const std::optional<ResultFolder>& its_folder, const std::string& name)
        : folder(its_folder),
          stem(fs::path(name).filename().string()),
          under_way(place.run, under_way_line(name, folder ? folder->identity_of(stamp_file(stem)) : "")) {}
    ~Attempt() {
        try {
            if (folder) remove_begun_mark(*folder, stem);
        } catch (const std::exception&) {
            // A file of another program has the name of the mark; the image was refused because of it.
        }
    }
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

private:
    const std::optional<ResultFolder>& folder;
    std::string stem;
    RunFolder::UnderWay under_way;
};

}  // namespace

ImageJobs::ImageJobs(const RunOptions& run_options)
    : options(run_options), stamp_options(stamp_options_of(run_options)) {}

fs::path ImageJobs::stem_of(const Input& input) const { return fs::path(options.out_dir) / input.name; }

JobOutcome ImageJobs::run(const Input& input, const Workplace& place) const {
    return guarded(input, [&] { return make(input, place); });
}

JobOutcome ImageJobs::foresee(const Input& input) const {
    return guarded(input, [&] {
        const std::string origin = stamp_origin_of(input, stamp_options);
        std::error_code ignored;
        std::optional<ResultFolder> folder;
        if (fs::is_directory(options.out_dir, ignored)) folder = ResultFolder(options.out_dir).parent_of(input.name);
        const std::string stem = fs::path(input.name).filename().string();
        const auto stamp = folder ? read_stamp(*folder, stem) : std::nullopt;
        JobOutcome outcome;
        if (auto kept = options.is_resumed ? kept_record(input, folder, stamp, origin) : std::nullopt) {
            outcome.record = *std::move(kept);
            return outcome;
        }
        if (folder && options.is_resumed) require_few_deaths(*folder, stem);
        if (!has_known_format(input.file)) throw Refusal("is not an image that can be read");
        outcome.record.file = input.file;
        outcome.record.name = input.name;
        outcome.report = {input.file + ": would make " + stem_of(input).string() + ".*"};
        return outcome;
    });
}

JobOutcome ImageJobs::make(const Input& input, const Workplace& place) const {
    // Taken before the file is read. If the file changes meanwhile, it does not match its stamp.
    const std::string origin = stamp_origin_of(input, stamp_options);
    const std::string stem = fs::path(input.name).filename().string();
    const std::optional<ResultFolder> folder = place.results.parent_of(input.name);
    const auto stamp = folder ? read_stamp(*folder, stem) : std::nullopt;
    if (options.is_resumed) {
        if (auto kept = kept_record(input, folder, stamp, origin)) {
            remove_begun_mark(*folder, stem);  // a run may die after the last result but before it removes the mark
            return {*std::move(kept), {}, true};
        }
        if (folder) require_few_deaths(*folder, stem);
    }
    const Attempt attempt(place, folder, input.name);
    return make_new(input, place, origin, stamp);
}

JobOutcome ImageJobs::make_new(const Input& input, const Workplace& place, const std::string& origin,
                               const std::optional<Stamp>& old) const {
    StageTimes seconds;
    Stopwatch watch;
    const ImageOptions own = options_of_image(options, input.own);
    SourceImage source = read_image(input.file, own.reading);
    seconds.reading = watch.lap();
    Findings findings = analyse(std::move(source), own.analysis, input.file);
    seconds.analysis = watch.lap();

    const ResultFolder folder = place.results.make_parent_of(input.name);
    const fs::path stem = fs::path(input.name).filename();
    OutputSet outputs(place.run, folder);
    const std::vector<ResultKind> kinds = kinds_named(options.results);
    for (std::string& warning : warnings_of(kinds, findings)) findings.warnings.push_back(std::move(warning));
    for (const ResultKind& kind : kinds) {
        for (const ResultFile& file : kind.files) outputs.add(stem.string() + "." + file.ending, file.encode(findings));
    }
    JobOutcome outcome{record_of(input, findings), {}, true};
    outcome.report = options.verbosity == Verbosity::kDetails ? full_report(input, stem_of(input), findings)
                                                              : std::vector{short_report(input, findings)};
    seconds.writing = watch.lap();
    outcome.record.seconds = seconds;
    commit_with_stamp(outputs, place.run, folder, stem.string(), old, origin, outcome.record);
    return outcome;
}

}  // namespace Norvane::Host
