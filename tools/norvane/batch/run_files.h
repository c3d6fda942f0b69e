// SPDX-License-Identifier: Apache-2.0
/// What is written for a run as a whole.
#pragma once

#include "batch/image_record.h"
#include "batch/leftovers.h"
#include "batch/masks_command.h"

#include <string>
#include <vector>

namespace Norvane::Host {

/// summary.csv, summary.ndjson and report.html in the folder of the results, and the list of what failed where one is
/// wanted. The tables of a part K of N are summary.K-of-N.*, and a part has no page: a run over everything that resumes
/// makes it. What is left of them from runs that were killed goes. Returns a sentence for each that could not be
/// written, and for each name that the list cannot hold.
[[nodiscard]] std::vector<std::string> write_run_files(const MasksOptions& options,
                                                       const std::vector<ImageRecord>& records,
                                                       const Leftovers& leftovers);

}  // namespace Norvane::Host
