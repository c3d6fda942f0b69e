// SPDX-License-Identifier: Apache-2.0
/// What tells a later run that the results of an image are there and still right.
///
/// NAME.done beside the results: a line with what they were made from, a line with the record, a line with size and
/// name of each result file, and a last line that shows that the stamp is whole. It gets its name after all the others,
/// so that a run which ends at any moment leaves either a stamp with its results or no stamp.
#pragma once

#include "batch/image_record.h"
#include "results/output_set.h"

#include <filesystem>
#include <optional>
#include <string>

namespace Norvane::Host {

/// The stamp's file for the results STEM.ending.
[[nodiscard]] std::filesystem::path stamp_file(const std::filesystem::path& stem);

/// The first line for a file as it is now: its place, size, time of change, and the options. Throws Refusal where the
/// file cannot be looked at.
[[nodiscard]] std::string stamp_origin(const std::string& file, const std::string& options);

/// Adds the stamp to the results that wait in `outputs`, and removes an older one: between the new names of two results
/// it would vouch for a mixture.
void add_stamp(OutputSet& outputs, const std::filesystem::path& stem, const std::string& origin,
               const ImageRecord& record);

/// The record of an earlier run, if its results are whole and have this origin.
[[nodiscard]] std::optional<ImageRecord> record_if_done(const std::filesystem::path& stem, const std::string& origin);

/// The record in the stamp of STEM, whatever it was made from.
[[nodiscard]] std::optional<ImageRecord> stamped_record(const std::filesystem::path& stem);

}  // namespace Norvane::Host
