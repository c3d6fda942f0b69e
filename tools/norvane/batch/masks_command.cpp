// SPDX-License-Identifier: Apache-2.0
#include "batch/masks_command.h"

#include "batch/console.h"
#include "batch/exit_code.h"
#include "batch/image_job.h"
#include "batch/image_record.h"
#include "batch/inputs.h"
#include "batch/leftovers.h"
#include "batch/memory_reserve.h"
#include "batch/result_names.h"
#include "batch/run_files.h"
#include "batch/stop_signals.h"
#include "batch/workers.h"
#include "decoding/decode_frame.h"
#include "reading/printable.h"
#include "reading/read_dicom.h"
#include "reading/refusal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <new>
#include <optional>
#include <ostream>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

struct RunOutcome {
    std::vector<ImageRecord> records;  // in the order of the inputs, whichever was finished first
    std::size_t done = 0, kept = 0, refused = 0;
    std::size_t no_images = 0;  // found by a walk, but they turned out to be none
    std::size_t not_begun = 0;  // when the run was stopped
};

void tell(const MasksOptions& options, const JobOutcome& outcome, Console& console) {
    const ImageRecord& record = outcome.record;
    if (!outcome.is_image) return console.finish_image({}, {}, true);
    const bool is_json = options.report_format == ReportFormat::kJson;
    console.finish_image(is_json ? std::vector{json_line(record)} : outcome.report,
                         record.refusal.empty() ? "" : record.file + " " + record.refusal, record.is_kept);
}

RunOutcome sum_up(std::vector<std::optional<JobOutcome>>& outcomes) {
    RunOutcome run;
    for (std::optional<JobOutcome>& outcome : outcomes) {
        if (!outcome) {
            ++run.not_begun;
        } else if (!outcome->is_image) {
            ++run.no_images;
        } else {
            const ImageRecord& record = outcome->record;
            ++(!record.refusal.empty() ? run.refused : record.is_kept ? run.kept : run.done);
            run.records.push_back(std::move(outcome->record));
        }
    }
    return run;
}

RunOutcome run_images(const MasksOptions& options, const std::vector<Input>& inputs, const ImageJobs& jobs,
                      const StopSignals& signals, const MemoryReserve& memory, Console& console) {
    std::vector<std::optional<JobOutcome>> outcomes(inputs.size());
    const auto work = [&](std::size_t i) {
        memory.refill();
        try {
            outcomes[i] = options.is_dry_run ? jobs.foresee(inputs[i]) : jobs.run(inputs[i]);
            tell(options, *outcomes[i], console);
            outcomes[i]->report.clear();
        } catch (const std::bad_alloc&) {
            // Not even room for the refusal or its line: without an outcome it counts as not begun.
        }
    };
    const auto is_stopped = [&signals] { return signals.is_stop_wanted(); };
    run_workers(inputs.size(), options.jobs, is_stopped, work);
    return sum_up(outcomes);
}

// How it went, for people who look after lunch. One image that was named speaks for itself.
std::string closing_line(const MasksOptions& options, const RunOutcome& run, std::size_t passed_over) {
    const std::size_t images = run.records.size() + run.not_begun;
    if (images == 1 && passed_over == 0) return {};
    std::string text = std::to_string(images) + " images: " + std::to_string(run.done) +
                       (options.is_dry_run ? " to do, " : " done, ") + std::to_string(run.kept) +
                       " kept from an earlier run, " + std::to_string(run.refused) + " refused";
    if (run.not_begun > 0) text += ", " + std::to_string(run.not_begun) + " not begun";
    if (passed_over > 0) text += "; " + std::to_string(passed_over) + " other files passed over";
    return text + "\n";
}

bool make_folder(const std::string& folder, std::ostream& err) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder)) {
        complain(err, "the folder " + folder + " cannot be made: " + error.message());
        return false;
    }
    if (access(folder.c_str(), W_OK) != 0) {
        complain(err, "the folder " + folder + " cannot be written: " + std::strerror(errno));
        return false;
    }
    return true;
}

// Results have names of their own; this one is the user's, and would be written over an image.
bool is_input(const fs::path& file, const std::vector<Input>& inputs) {
    return std::ranges::any_of(inputs, [&file](const Input& input) {
        std::error_code ignored;
        const fs::path image = input.file;
        return image.filename() == file.filename() && fs::equivalent(image, file, ignored);
    });
}

int run_found(const MasksOptions& options, FoundInputs found, std::ostream& out, std::ostream& err) {
    const Leftovers leftovers = leftovers_for(options);
    const ImageJobs jobs(options, found.inputs, leftovers);
    if (options.shard) std::erase_if(found.inputs, [&](const Input& i) { return !is_in_shard(i, *options.shard); });
    const StopSignals signals;
    const MemoryReserve memory;
    if (!options.is_dry_run) load_dicom_dictionary();
    set_decoder_memory(options.reading.image_memory);
    RunOutcome run;
    {
        Console console(out, err, found.inputs.size());
        run = run_images(options, found.inputs, jobs, signals, memory, console);
    }
    std::vector<std::string> failures;
    if (!options.is_dry_run) failures = write_run_files(options, run.records, leftovers);
    for (const std::string& failure : failures) complain(err, failure);
    if (options.report_format == ReportFormat::kText) {
        out << closing_line(options, run, found.passed_over + run.no_images) << std::flush;
    }
    if (run.not_begun > 0 && signals.is_stop_wanted()) return kExitInterrupted;
    return run.not_begun == 0 && failures.empty() && run.refused == 0 ? kExitDone : kExitPartly;
}

}  // namespace

Leftovers leftovers_for(const MasksOptions& options) {
    if (options.is_dry_run) return {};
    Leftovers leftovers(options.out_dir);
    if (!options.fail_list.empty()) leftovers.look_beside(options.fail_list);
    return leftovers;
}

FoundInputs find_and_name(const MasksOptions& options) {
    FoundInputs found =
        find_inputs({options.inputs, options.manifest, options.root, options.out_dir, options.list_end});
    give_result_names(found.inputs);
    return found;
}

bool is_in_shard(const Input& input, const Shard& shard) {
    constexpr std::uint64_t kOffset = 14695981039346656037U;  // FNV-1a of 64 bits
    constexpr std::uint64_t kPrime = 1099511628211U;
    std::uint64_t hash = kOffset;
    for (const char c : input.name.empty() ? input.file : input.name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
    }
    return hash % shard.count == shard.number - 1;
}

int run_masks_command(const MasksOptions& options, std::ostream& out, std::ostream& err) {
    try {
        FoundInputs found = find_and_name(options);
        if (is_input(options.fail_list, found.inputs)) {
            complain(err, "--fail-list names an input: " + options.fail_list);
            return kExitUsage;
        }
        if (!options.is_dry_run && !make_folder(options.out_dir, err)) return kExitPartly;
        return run_found(options, std::move(found), out, err);
    } catch (const Refusal& refusal) {
        complain(err, "the manifest " + options.manifest + " " + refusal.what());
        return kExitPartly;
    }
}

}  // namespace Norvane::Host
