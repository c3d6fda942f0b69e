// SPDX-License-Identifier: Apache-2.0
/// norvane masks: image after image through reading, preparation, masks and results, several at a time.
#pragma once

#include "analysis/analysis_options.h"
#include "reading/read_options.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

/// Part `number` of `count`, from 1.
struct Shard {
    unsigned number;
    unsigned count;
};

enum class ReportFormat { kText, kJson };

/// norvane masks.
struct MasksOptions {
    std::vector<std::string> inputs;  ///< files and folders
    std::string manifest;             ///< a file with more of them, "-" for standard input; empty: none
    std::string root;                 ///< see InputQuery
    std::string out_dir = "norvane-masks";
    std::vector<std::string> results;  ///< names of ResultKinds
    AnalysisOptions analysis;
    ReadOptions reading;

    unsigned jobs = 1;
    bool is_resumed = false;
    std::optional<Shard> shard;
    std::string fail_list;  ///< empty: none
    bool is_dry_run = false;
    bool has_page = true;
    ReportFormat report_format = ReportFormat::kText;
    std::string stamp_text;  ///< the options that decide the results, as text for stamps
};

/// Reports to `out`; a line per refused input to `err`. Returns an ExitCode.
[[nodiscard]] int run_masks_command(const MasksOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
