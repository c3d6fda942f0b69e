// SPDX-License-Identifier: Apache-2.0
#include "batch/image_job.h"

#include "analysis/chest_wall_side.h"
#include "analysis/image_analysis.h"
#include "analysis/image_rows.h"
#include "analysis/noise_choice.h"
#include "analysis/status_text.h"
#include "batch/result_names.h"
#include "batch/stamp.h"
#include "reading/read_image.h"
#include "reading/refusal.h"
#include "results/output_set.h"
#include "results/program_version.h"
#include "results/result_files.h"
#include "results/settings_text.h"

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
    /// Seconds since the last lap.
    [[nodiscard]] double lap() {
        const auto now = std::chrono::steady_clock::now();
        return std::chrono::duration<double>(now - std::exchange(last, now)).count();
    }

private:
    std::chrono::steady_clock::time_point last = std::chrono::steady_clock::now();
};

// The place of a directory entry: links to the folder are followed, a link that is the entry itself is not.
std::string place_of(const fs::path& file) {
    std::error_code error;
    const fs::path folder = fs::weakly_canonical(fs::absolute(file).parent_path(), error);
    return (folder / file.filename()).string();
}

double area_mm2(Mask& mask, const Image& image) {
    constexpr double kMicrometresPerMillimetre = 1000.0;
    const double side_mm = static_cast<double>(image.GetPixelSize()) / kMicrometresPerMillimetre;
    return static_cast<double>(area_of(mask)) * side_mm * side_mm;
}

ImageRecord record_of(const Input& input, ImageAnalysis& analysis) {
    ImageRecord record;
    record.file = input.file;
    record.name = input.name;
    record.status = analysis.masks.full.status;
    record.breast_status = analysis.masks.breast.status;
    record.pectoral_status = analysis.masks.pectoral.status;
    record.format = analysis.source.format;
    record.width = analysis.source.width;
    record.height = analysis.source.height;
    record.side = name_of(analysis.settings.side);
    record.view = name_of(analysis.settings.view);
    record.noise = name_of(analysis.settings.noise);
    record.pixel_size_um = analysis.settings.pixel_size_um;
    record.breast_mm2 = area_mm2(analysis.masks.breast.mask, *analysis.prepared.image);
    record.pectoral_mm2 = area_mm2(analysis.masks.pectoral.mask, *analysis.prepared.image);
    record.outline_contrast = analysis.outline_contrast;
    record.flags = analysis.source.flags;
    record.warnings = analysis.warnings;
    return record;
}

std::string status_line(Masking::MASK_STATUS status) {
    const StatusText& text = text_of(status);
    return "status " + std::to_string(static_cast<int>(status)) + " " + text.name + ": " + text.sentence;
}

std::vector<std::string> report(const Input& input, const fs::path& stem, const ImageAnalysis& analysis) {
    const MasksResult& masks = analysis.masks;
    std::vector<std::string> lines{input.file + ": " + status_line(masks.full.status)};
    if (masks.pectoral.status != masks.full.status)
        lines.push_back("    Pectoral muscle: " + status_line(masks.pectoral.status));
    for (const std::string& fact : settings_text(analysis)) lines.push_back("    " + fact);
    for (const std::string& warning : analysis.warnings) lines.push_back("    Warning: " + warning);
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
    outcome.record.refusal = why;
    return outcome;
}

// What goes wrong with one image is a sentence about it, and the next image goes on.
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
        return refused(input, "needs more memory than there is");
    } catch (const std::exception& e) {
        return refused(input, std::string("failed: ") + e.what());
    } catch (...) {
        return refused(input, "failed");
    }
}

std::string stamp_options_of(const MasksOptions& options) {
    std::string text = std::string(program_version()) + " " + options.stamp_text + "results=";
    for (const std::string& kind : options.results) text += kind + ",";
    return text;
}

}  // namespace

ImageJobs::ImageJobs(const MasksOptions& run_options, const std::vector<Input>& inputs, const Leftovers& old_files)
    : options(run_options), stamp_options(stamp_options_of(run_options)), leftovers(old_files) {
    for (const Input& input : inputs) input_places.insert(place_of(input.file));
}

fs::path ImageJobs::stem_of(const Input& input) const { return fs::path(options.out_dir) / input.name; }

JobOutcome ImageJobs::run(const Input& input) const {
    return guarded(input, [&] { return make(input); });
}

JobOutcome ImageJobs::foresee(const Input& input) const {
    return guarded(input, [&] {
        const std::string origin = stamp_origin(input.file, stamp_options);
        auto kept = options.is_resumed ? record_if_done(stem_of(input), origin) : std::nullopt;
        if (!kept && !has_known_format(input.file)) throw Refusal("is not an image that can be read");
        refuse_to_overwrite_inputs(input);
        JobOutcome outcome;
        outcome.record.file = input.file;
        outcome.record.name = input.name;
        outcome.record.is_kept = kept.has_value();
        if (!kept) outcome.report = {input.file + ": would make " + stem_of(input).string() + ".*"};
        return outcome;
    });
}

std::string ImageJobs::refusal_of(const Input& input) const {
    return guarded(input,
                   [&] {
                       refuse_to_overwrite_inputs(input);
                       return JobOutcome{};
                   })
        .record.refusal;
}

// Results that lie beside their inputs must not replace one of them.
void ImageJobs::refuse_to_overwrite_inputs(const Input& input) const {
    const std::string place = place_of(stem_of(input));
    for (const ResultKind& kind : result_kinds()) {
        for (const std::string& ending : kind.endings) {
            std::string result = place;
            result.append(".").append(ending);
            if (input_places.contains(result)) throw Refusal("has a result that would overwrite the input " + result);
        }
    }
}

void ImageJobs::remove_leftovers(const fs::path& stem) const {
    leftovers.remove_those_of(stamp_file(stem));
    for (const ResultKind& kind : result_kinds()) {
        for (const std::string& ending : kind.endings) leftovers.remove_those_of(stem.string() + "." + ending);
    }
}

JobOutcome ImageJobs::make(const Input& input) const {
    const fs::path stem = stem_of(input);
    refuse_to_overwrite_inputs(input);
    remove_leftovers(stem);
    // Looked at before it is read: a file that changes meanwhile does not match its stamp.
    const std::string origin = stamp_origin(input.file, stamp_options);
    if (auto kept = options.is_resumed ? record_if_done(stem, origin) : std::nullopt) {
        kept->file = input.file;  // stamps are UTF-8, names of files need not be
        kept->name = input.name;
        kept->is_kept = true;
        return {*kept, {}, true};
    }
    StageTimes seconds;
    Stopwatch watch;
    SourceImage source = read_image(input.file, options.reading);
    seconds.reading = watch.lap();
    ImageAnalysis analysis = analyse(std::move(source), options.analysis);
    seconds.analysis = watch.lap();

    OutputSet outputs;
    std::error_code error;
    fs::create_directories(stem.parent_path(), error);  // a failure shows when the first file is written
    add_result_files(outputs, stem, input.file, options.results, analysis);
    JobOutcome outcome{record_of(input, analysis), report(input, stem, analysis), true};
    seconds.writing = watch.lap();
    outcome.record.seconds = seconds;
    add_stamp(outputs, stem, origin, outcome.record);
    outputs.commit();
    return outcome;
}

}  // namespace Norvane::Host
