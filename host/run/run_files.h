// SPDX-License-Identifier: Apache-2.0
/// The files that are written for a run as a whole.
#pragma once

#include "run/image_record.h"
#include "run/inputs.h"
#include "run/result_folder.h"
#include "run/run_folder.h"
#include "run/run_options.h"

#include <string>
#include <string_view>
#include <vector>

namespace Norvane::Host {

/// A table or the page of a run, in the folder of the results.
struct RunFile {
    std::string name;
    std::string beginning;  ///< how the text begins; by it a run recognises the file of an earlier run
    bool may_be_empty;
    /// Adds a sentence to `failures` for each image that the text leaves out because its results are damaged.
    std::string (*text_of)(const std::vector<ImageRecord>& records, const ResultFolder& results,
                           std::vector<std::string>& failures);
};

/// summary.csv, summary.ndjson, report.html, and coco.json if it is asked for. The tables of part K of N are called
/// summary.K-of-N.*. A part has no page; a later run with --resume over all images makes it.
[[nodiscard]] std::vector<RunFile> run_files_of(const RunOptions& options);

/// "report.html", or nothing if the run makes no page.
[[nodiscard]] std::string page_name_of(const RunOptions& options);

/// Whether a file that begins with these bytes was written by this program.
[[nodiscard]] inline bool is_of_this_program(const RunFile& file, std::string_view its_beginning) {
    return its_beginning.starts_with(file.beginning) || (file.may_be_empty && its_beginning.empty());
}

struct WrittenRunFiles {
    /// A sentence for each file that could not be written, for each image that one of them leaves out, and for each
    /// name that the list of failures cannot hold.
    std::vector<std::string> failures;
    std::string note;  ///< what the user should know about earlier results; empty if there is nothing
};

/// Writes these files, about this run and about what earlier ones left there, and, if one is wanted, the list of what
/// failed in this run. `records` are those of the images in `inputs`.
[[nodiscard]] WrittenRunFiles write_run_files(const RunOptions& options, const std::vector<Input>& inputs,
                                              const std::vector<ImageRecord>& records, const ResultFolder& results,
                                              const RunFolder& run);

}  // namespace Norvane::Host
