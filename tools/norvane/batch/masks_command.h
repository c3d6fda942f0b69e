// SPDX-License-Identifier: Apache-2.0
/// norvane masks: file after file through reading, preparation, masks and results.
#pragma once

#include "analysis/analysis_options.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Norvane::Host {

/// norvane masks.
struct MasksOptions {
    std::vector<std::string> files;
    std::string out_dir = "norvane-masks";
    std::vector<std::string> results;  ///< names of ResultKinds
    AnalysisOptions analysis;
};

/// Reports to `out`; a line per refused file to `err`. Returns an ExitCode.
[[nodiscard]] int run_masks_command(const MasksOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
