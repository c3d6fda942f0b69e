// SPDX-License-Identifier: Apache-2.0
/// The look at the folder of the results before a run begins.
#pragma once

#include "run/inputs.h"
#include "run/run_options.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace Norvane::Host {

struct OutputCheck {
    /// A sentence for each file that the run would replace though it is an input or was written by somebody else; the
    /// last one counts those beyond the first ten. Empty: the run may begin.
    std::vector<std::string> complaints;
    /// Names of the results of images during which earlier runs died.
    std::unordered_set<std::string> marked;
};

/// Compares the names of all files that the run would write with its inputs and with what lies in the folder. Each
/// folder of results is listed once. What is no regular file is left to the image that it refuses. Throws Refusal if
/// the folder cannot be read.
[[nodiscard]] OutputCheck check_outputs(const RunOptions& options, const std::vector<Input>& inputs);

}  // namespace Norvane::Host
