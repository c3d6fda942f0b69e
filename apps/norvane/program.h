// SPDX-License-Identifier: Apache-2.0
/// The whole program as a function, so that tests can call it.
#pragma once

#include "run/exit_code.h"

#include <iosfwd>

namespace Norvane::Host {

/// Runs the command line. Reports go to `out`, one line per refused input to `err`. Returns an ExitCode.
[[nodiscard]] int run_program(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
