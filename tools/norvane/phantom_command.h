// SPDX-License-Identifier: Apache-2.0
/// norvane phantom: the synthetic mammogram as a PNG file.
#pragma once

#include "command_line.h"

#include <iosfwd>

namespace Norvane::Host {

/// Returns an ExitCode.
[[nodiscard]] int run_phantom_command(const PhantomOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
