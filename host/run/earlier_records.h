// SPDX-License-Identifier: Apache-2.0
/// What earlier runs left in the folder of the results. Tables and page of a later run show it as well.
#pragma once

#include "run/image_record.h"
#include "run/result_folder.h"
#include "run/run_options.h"

#include <vector>

namespace Norvane::Host {

/// The records of this run, followed by those of earlier runs, sorted by name. The tables of earlier runs name them.
/// They stay if the results are still there or the refused file still exists. Identifiers that this run does not read
/// are left out of them.
[[nodiscard]] std::vector<ImageRecord> with_earlier_records(const RunOptions& options, std::vector<ImageRecord> records,
                                                            const ResultFolder& results);

}  // namespace Norvane::Host
