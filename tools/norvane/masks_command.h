// SPDX-License-Identifier: Apache-2.0
/// norvane masks: file after file through reading, preparation, masks and results.
#pragma once

#include "command_line.h"

#include <iosfwd>

namespace Norvane::Host {

/// Reports to `out`; a line per refused file to `err`. Returns an ExitCode.
[[nodiscard]] int run_masks_command(const MasksOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
