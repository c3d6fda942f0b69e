// SPDX-License-Identifier: Apache-2.0
/// norvane masks: image after image through reading, preparation, masks and results, several at a time.
#pragma once

#include "findings/analysis_options.h"
#include "io/read_options.h"
#include "run/inputs.h"

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
    char list_end = '\n';   ///< what ends each name in the manifest and the list of failures
    bool is_dry_run = false;
    bool has_page = true;
    ReportFormat report_format = ReportFormat::kText;
    std::string stamp_text;  ///< the options that decide the results, as text for stamps
};

/// All images that the options name, whatever the shard, and the names of their results. Throws Refusal where the
/// manifest cannot be read.
[[nodiscard]] FoundInputs find_and_name(const MasksOptions& options);

/// Whether the image belongs to the part. That depends on its name alone, so that it is the same part when other
/// images are added.
[[nodiscard]] bool is_in_shard(const Input& input, const Shard& shard);

/// Reports to `out`; a line per refused input to `err`. Returns an ExitCode.
[[nodiscard]] int run_masks_command(const MasksOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
