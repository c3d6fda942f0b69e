// SPDX-License-Identifier: Apache-2.0
/// The stamp tells a later run whether the results of an image are complete and up to date, and which files this
/// program wrote.
///
/// It is the file NAME.done beside the results. It holds a line that says what the results were made from, a line with
/// the record, a line with size and name for each result file, and a last line that shows that the stamp is complete.
/// The stamp is put in place before the results, and its last line is written after them. So if a run ends at any
/// moment, its stamp names all files of this program, and it is complete only if all results are.
#pragma once

#include "run/image_record.h"
#include "run/output_set.h"
#include "run/result_folder.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace Norvane::Host {

/// The name of the stamp for the results STEM.ending.
[[nodiscard]] inline std::string stamp_file(const std::string& stem) { return stem + ".done"; }

struct Stamp {
    std::string origin;  ///< the first line
    std::string record;  ///< the second line
    bool is_whole = false;
    std::map<std::string, std::uintmax_t> results;  ///< names and sizes
    std::map<std::string, std::uintmax_t> older;    ///< the same for older files of earlier runs that still existed

    /// Whether this program wrote the file, which lies in the folder of the stamp. If a run died while it named its
    /// results, a file with such a name may come from another program, so the size must match too.
    [[nodiscard]] bool vouches_for(const std::string& name, std::uintmax_t size) const;
};

/// The stamp of STEM in the folder. Nothing if there is none. Throws Refusal if another program wrote the file.
[[nodiscard]] std::optional<Stamp> read_stamp(const ResultFolder& folder, const std::string& stem);

/// The first line of the stamp for the file as it is now: its path, size, time of change, and the options. Throws
/// Refusal if the file cannot be examined.
[[nodiscard]] std::string stamp_origin(const std::string& file, const std::string& options);

/// The record of an earlier run, if its results are complete and have this origin.
[[nodiscard]] std::optional<ImageRecord> record_if_done(const ResultFolder& folder, const Stamp& stamp,
                                                        const std::string& origin);

/// Puts the results that wait in `outputs` into the folder, together with their stamp. `old` is the stamp that was
/// there before. Throws Refusal.
void commit_with_stamp(OutputSet& outputs, const RunFolder& run, const ResultFolder& folder, const std::string& stem,
                       const std::optional<Stamp>& old, const std::string& origin, const ImageRecord& record);

}  // namespace Norvane::Host
