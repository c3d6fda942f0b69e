// SPDX-License-Identifier: Apache-2.0
/// Checks the folder of the results before a run begins.
#pragma once

#include "run/inputs.h"
#include "run/run_options.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace Norvane::Host {

struct OutputCheck {
    /// One sentence for each file that the run would replace although it is an input or another program wrote it. If
    /// there are more than ten, the last sentence counts the others. If this is empty, the run may begin.
    std::vector<std::string> complaints;
    /// The names of the results of images during which earlier runs died.
    std::unordered_set<std::string> marked;
};

/// Compares the names of all files that the run would write with its inputs and with the files in the folder. Each
/// folder of results is listed once. Anything but regular files is ignored here; it is refused when the image is
/// written. Throws Refusal if the folder cannot be read.
[[nodiscard]] OutputCheck check_outputs(const RunOptions& options, const std::vector<Input>& inputs);

}  // namespace Norvane::Host
