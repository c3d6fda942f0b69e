// SPDX-License-Identifier: Apache-2.0
/// A run: image after image through reading, preparation, masks and results, several at a time.
#pragma once

#include "run/inputs.h"
#include "run/run_options.h"

#include <iosfwd>

namespace Norvane::Host {

/// All images that the options name, whatever the shard, and the names of their results. Throws Refusal if the manifest
/// cannot be read.
[[nodiscard]] FoundInputs find_and_name(const RunOptions& options);

/// Reports to `out`; a line per refused input to `err`. Returns an ExitCode.
[[nodiscard]] int run_masks(const RunOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
