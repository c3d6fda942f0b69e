// SPDX-License-Identifier: Apache-2.0
/// What earlier runs left in the folder of the results: a run into it speaks of that as well.
#pragma once

#include "run/image_record.h"
#include "run/result_folder.h"
#include "run/run_options.h"

#include <vector>

namespace Norvane::Host {

/// The records of this run, followed by those that the tables of earlier runs name, sorted by name: results that are
/// still there, and refused files that still exist. Identifiers that this run does not read are left out of them.
[[nodiscard]] std::vector<ImageRecord> with_earlier_records(const RunOptions& options, std::vector<ImageRecord> records,
                                                            const ResultFolder& results);

}  // namespace Norvane::Host
