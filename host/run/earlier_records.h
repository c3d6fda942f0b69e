// SPDX-License-Identifier: Apache-2.0
/// What earlier runs left in the folder of the results. Tables and page of a later run show it as well.
#pragma once

#include "run/image_record.h"
#include "run/result_folder.h"
#include "run/run_options.h"

#include <string>
#include <vector>

namespace Norvane::Host {

struct JoinedRecords {
    std::vector<ImageRecord> records;  ///< those of this run, followed by those of earlier runs, sorted by name
    std::string note;                  ///< a sentence about identifiers that earlier results hold; empty if they do not
};

/// Adds the records of earlier runs, which their tables name. They stay if the results are still there or the refused
/// file still exists. Identifiers that this run does not read are left out of them.
[[nodiscard]] JoinedRecords with_earlier_records(const RunOptions& options, std::vector<ImageRecord> records,
                                                 const ResultFolder& results);

}  // namespace Norvane::Host
