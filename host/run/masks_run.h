// SPDX-License-Identifier: Apache-2.0
/// A run: every image is read, prepared and analysed, and its results are written. Several images are processed at a
/// time.
#pragma once

#include "run/inputs.h"
#include "run/run_options.h"

#include <iosfwd>

namespace Norvane::Host {

/// All images that the options name, in all shards, and the names of their results. Throws Refusal if the manifest
/// cannot be read.
[[nodiscard]] FoundInputs find_and_name(const RunOptions& options);

/// Writes the report to `out` and a line for each refused input to `err`. Returns an ExitCode.
[[nodiscard]] int run_masks(const RunOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
