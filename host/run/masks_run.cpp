// SPDX-License-Identifier: Apache-2.0
#include "run/masks_run.h"

#include "io/dicom/read_dicom.h"
#include "io/printable.h"
#include "io/refusal.h"
#include "run/begun_mark.h"
#include "run/closing_lines.h"
#include "run/console.h"
#include "run/exit_code.h"
#include "run/image_job.h"
#include "run/image_record.h"
#include "run/inputs.h"
#include "run/memory_reserve.h"
#include "run/output_check.h"
#include "run/result_names.h"
#include "run/run_files.h"
#include "run/stop_signals.h"
#include "run/workers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <new>
#include <optional>
#include <ostream>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

struct RunOutcome {
    std::vector<ImageRecord> records;  // in the order of the inputs
    RunCounts counts;
};

std::vector<std::string> lines_about(const JobOutcome& outcome, const RunOptions& options) {
    if (options.verbosity == Verbosity::kQuiet) return {};
    if (options.report_format == ReportFormat::kJson) return {json_line(outcome.record)};
    return outcome.report;
}

void tell(const RunOptions& options, const JobOutcome& outcome, Console& console) {
    const ImageRecord& record = outcome.record;
    if (!outcome.is_image) return console.finish_image({}, {}, true);
    const std::string complaint = record.refusal.empty() ? "" : record.file + " " + record.refusal;
    console.finish_image(lines_about(outcome, options), complaint, record.is_kept);
}

// What became of each image. All threads add to it. One may sum up while others are still working.
class Outcomes {
public:
    explicit Outcomes(std::size_t count) : outcomes(count) {}

    void begin() {
        const std::scoped_lock lock(mutex);
        ++begun;
    }
    void finish(std::size_t i, const JobOutcome& outcome) {
        const std::scoped_lock lock(mutex);
        outcomes[i] = outcome;
        outcomes[i]->report.clear();
    }
    /// To be called once, because it moves the records out.
    [[nodiscard]] RunOutcome sum_up() {
        const std::scoped_lock lock(mutex);
        RunOutcome run;
        std::size_t finished = 0, passed_over = 0;
        for (std::optional<JobOutcome>& outcome : outcomes) {
            if (!outcome) continue;
            ++finished;
            if (!outcome->is_image) {
                ++passed_over;
                continue;
            }
            run.records.push_back(std::move(outcome->record));
        }
        run.counts = counts_of(run.records);
        run.counts.passed_over = passed_over;
        run.counts.not_finished = begun - finished;
        run.counts.not_begun = outcomes.size() - begun;
        return run;
    }

private:
    std::mutex mutex;
    std::vector<std::optional<JobOutcome>> outcomes;
    std::size_t begun = 0;
};

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

// Whether this file, which the user wants to write, is one of the inputs.
bool is_input(const fs::path& file, const std::vector<Input>& inputs) {
    struct stat facts {};
    if (file.empty() || stat(file.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
    return std::ranges::any_of(inputs, [&facts](const Input& input) {
        struct stat image {};
        return stat(input.file.c_str(), &image) == 0 && image.st_dev == facts.st_dev && image.st_ino == facts.st_ino;
    });
}

// Returns false, and prints a line for each reason, if the run would replace files that are not its own.
bool may_begin(const OutputCheck& check, std::ostream& err) {
    for (const std::string& complaint : check.complaints) complain(err, complaint);
    if (!check.complaints.empty()) complain(err, "nothing was done; choose another --out-dir");
    return check.complaints.empty();
}

/// A run over the images that were found.
class MasksRun {
public:
    MasksRun(const RunOptions& run_options, const FoundInputs& found_inputs, std::ostream& report, std::ostream& errors)
        : options(run_options),
          found(found_inputs),
          jobs(run_options),
          out(report),
          err(errors),
          outcomes(found.inputs.size()) {}

    /// Returns an ExitCode. `marked` holds the names of the results of images during which runs died.
    int go(std::unordered_set<std::string> marked) {
        if (!options.is_dry_run) {
            place.emplace(options.out_dir);
            marked.merge(take_over_dead_runs(place->results, place->run));
            load_dicom_dictionary();
        }
        const StopSignals signals(place ? place->run.descriptor() : -1, place ? RunFolder::kAlive : nullptr);
        {
            Console console(out, err, found.inputs.size());
            const Patience patience(signals, [this] { abandon(); });
            run_images(signals, marked, console);
        }
        return finish(signals.is_stop_wanted());
    }

private:
    void run_images(const StopSignals& signals, const std::unordered_set<std::string>& marked, Console& console) {
        const MemoryReserve memory;
        const auto work = [&](const Input& input) {
            outcomes.begin();
            memory.refill();
            try {
                const JobOutcome outcome = place ? jobs.run(input, *place) : jobs.foresee(input);
                outcomes.finish(static_cast<std::size_t>(&input - found.inputs.data()), outcome);
                tell(options, outcome, console);
            } catch (const std::bad_alloc&) {
                // There is no memory even for the refusal or its line. Without an outcome, the image counts as not
                // finished.
            }
        };
        // An image during which a run died may end this run too, so it is processed last and alone.
        std::vector<const Input*> first, last;
        for (const Input& input : found.inputs) (marked.contains(input.name) ? last : first).push_back(&input);
        const auto is_stopped = [&signals] { return signals.is_stop_wanted(); };
        run_workers(first.size(), options.jobs, is_stopped, [&](std::size_t i) { work(*first[i]); });
        run_workers(last.size(), 1, is_stopped, [&](std::size_t i) { work(*last[i]); });
    }

    int finish(bool is_stopped) {
        RunOutcome run = outcomes.sum_up();
        run.counts.passed_over += found.passed_over;
        WrittenRunFiles written;
        if (place) written = write_run_files(options, found.inputs, run.records, place->results, place->run);
        for (const std::string& failure : written.failures) complain(err, failure);
        if (!written.note.empty()) complain(err, written.note);
        if (options.report_format == ReportFormat::kText) {
            for (const std::string& line : closing_lines(options, run.records, run.counts)) print_line(out, line);
            out.flush();
        }
        const bool is_whole = run.counts.left() == 0;
        if (!is_whole && is_stopped) return kExitInterrupted;
        return is_whole && written.failures.empty() && run.counts.refused == 0 ? kExitDone : kExitPartly;
    }

    // Called if images are not finished in time after a stop. The run ends without them.
    void abandon() {
        try {
            (void)finish(true);
            if (place) place->run.remove_all();
        } catch (...) {  // for example if memory runs out; the program ends all the same
        }
        _exit(kExitInterrupted);
    }

    const RunOptions& options;
    const FoundInputs& found;
    ImageJobs jobs;
    std::ostream& out;
    std::ostream& err;
    std::optional<Workplace> place;  // empty if nothing is written
    Outcomes outcomes;
};

}  // namespace

FoundInputs find_and_name(const RunOptions& options) {
    FoundInputs found = find_inputs(
        {options.inputs, options.manifest, options.root, options.out_dir, options.list_end, options_of_images()});
    for (Input& input : found.inputs) {
        try {
            if (!input.own.empty()) (void)options_of_image(options, input.own);
        } catch (const WrongOption& wrong) {
            input.refusal = "cannot be made as the manifest says, " + wrong.option + ": " + wrong.what();
        }
    }
    expand_frames(found.inputs, options.takes_all_frames, options.reading);
    give_result_names(found.inputs);
    return found;
}

int run_masks(const RunOptions& options, std::ostream& out, std::ostream& err) {
    std::optional<FoundInputs> found;
    try {
        found = find_and_name(options);
    } catch (const Refusal& refusal) {
        complain(err, "the manifest " + options.manifest + " " + refusal.what());
        return kExitPartly;
    }
    if (!found->note.empty()) complain(err, "the manifest " + options.manifest + " " + found->note);
    if (is_input(options.fail_list, found->inputs)) {
        complain(err, "--fail-list names an input: " + options.fail_list);
        return kExitUsage;
    }
    try {
        OutputCheck check = check_outputs(options, found->inputs);
        if (!may_begin(check, err)) return kExitUsage;
        if (!options.is_dry_run && !make_folder(options.out_dir, err)) return kExitPartly;
        if (options.shard)
            std::erase_if(found->inputs, [&](const Input& i) { return !is_in_shard(i, *options.shard); });
        return MasksRun(options, *found, out, err).go(std::move(check.marked));
    } catch (const Refusal& refusal) {
        complain(err, std::string("the run ") + refusal.what());
        return kExitPartly;
    }
}

}  // namespace Norvane::Host
