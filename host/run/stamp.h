// SPDX-License-Identifier: Apache-2.0
/// What tells a later run that the results of an image are there and still right, and which files are this program's.
///
/// NAME.done beside the results: a line with what they were made from, a line with the record, lines with size and name
/// of the result files, and a last line that shows that the stamp is whole. It gets its place before the results and
/// its last line after them, so that a run which ends at any moment leaves a stamp that names all files that are this
/// program's, and calls them done only if they are.
#pragma once

#include "run/image_record.h"
#include "run/output_set.h"
#include "run/result_folder.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace Norvane::Host {

/// The stamp's file for the results STEM.ending.
[[nodiscard]] inline std::string stamp_file(const std::string& stem) { return stem + ".done"; }

struct Stamp {
    std::string origin;  ///< the first line
    std::string record;  ///< the second line
    bool is_whole = false;
    std::map<std::string, std::uintmax_t> results;  ///< names and sizes
    std::map<std::string, std::uintmax_t> older;    ///< of files that earlier runs wrote and that were still there

    /// Whether the file in the folder of the stamp is one of this program. If a run died while it gave the results
    /// their names, files of this name may have come from elsewhere since, so that the size has to be right, too.
    [[nodiscard]] bool vouches_for(const std::string& name, std::uintmax_t size) const;
};

/// The stamp of STEM in the folder. Nothing if there is none; throws Refusal for a file that is none of this program.
[[nodiscard]] std::optional<Stamp> read_stamp(const ResultFolder& folder, const std::string& stem);

/// The first line for a file as it is now: its place, size, time of change, and the options. Throws Refusal where the
/// file cannot be looked at.
[[nodiscard]] std::string stamp_origin(const std::string& file, const std::string& options);

/// The record of an earlier run, if its results are whole and have this origin.
[[nodiscard]] std::optional<ImageRecord> record_if_done(const ResultFolder& folder, const Stamp& stamp,
                                                        const std::string& origin);

/// Gives the results that wait in `outputs` their places in the folder, with their stamp. `old` is the stamp that lay
/// there. Throws Refusal.
void commit_with_stamp(OutputSet& outputs, const RunFolder& run, const ResultFolder& folder, const std::string& stem,
                       const std::optional<Stamp>& old, const std::string& origin, const ImageRecord& record);

}  // namespace Norvane::Host
