// SPDX-License-Identifier: Apache-2.0
/// Images during which a run died: NAME.begun beside their results counts how often.
#pragma once

#include "run/result_folder.h"
#include "run/run_folder.h"

#include <string>
#include <unordered_set>

namespace Norvane::Host {

/// With so many deaths an image is passed over by runs that resume.
inline constexpr unsigned kMostDeaths = 2;

/// The mark's file for the results STEM.ending.
[[nodiscard]] inline std::string begun_mark_file(const std::string& stem) { return stem + ".begun"; }

/// How many runs died during the image since it last came through; `stem` is the name of its results in the folder.
/// Throws Refusal if a file of somebody else has the mark's name.
[[nodiscard]] unsigned deaths_of(const ResultFolder& folder, const std::string& stem);

/// Removes the mark, if there is one of this program.
void remove_begun_mark(const ResultFolder& folder, const std::string& stem);

/// The line that stands for the image in the run's folder while it is under way. `name` is that of its results.
[[nodiscard]] std::string under_way_line(const std::string& name, const std::string& stamp_identity);

/// Marks the images that were under way when runs died, and removes what these runs left. Images that were done since
/// get no mark. Returns the names of those that got one.
[[nodiscard]] std::unordered_set<std::string> take_over_dead_runs(const ResultFolder& results, const RunFolder& run);

}  // namespace Norvane::Host
