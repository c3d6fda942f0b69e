// SPDX-License-Identifier: Apache-2.0
/// Remembers the images during which a run died. NAME.begun beside the results of an image counts how often.
#pragma once

#include "run/result_folder.h"
#include "run/run_folder.h"

#include <string>
#include <unordered_set>

namespace Norvane::Host {

/// If an image has so many deaths, runs that resume skip it.
inline constexpr unsigned kMostDeaths = 2;

/// The name of the mark for the results STEM.ending.
[[nodiscard]] inline std::string begun_mark_file(const std::string& stem) { return stem + ".begun"; }

/// How many runs died during the image since it was last completed. `stem` is the name of its results in the folder.
/// Throws Refusal if a file of another program has the name of the mark.
[[nodiscard]] unsigned deaths_of(const ResultFolder& folder, const std::string& stem);

/// Removes the mark if there is one and this program wrote it.
void remove_begun_mark(const ResultFolder& folder, const std::string& stem);

/// The line for the image in the run's folder while the image is processed. `name` is the name of its results.
[[nodiscard]] std::string under_way_line(const std::string& name, const std::string& stamp_identity);

/// Marks the images that were processed when runs died, and removes the files that these runs left. An image that was
/// completed since then gets no mark. Returns the names of the marked images.
[[nodiscard]] std::unordered_set<std::string> take_over_dead_runs(const ResultFolder& results, const RunFolder& run);

}  // namespace Norvane::Host
