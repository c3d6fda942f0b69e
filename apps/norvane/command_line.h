// SPDX-License-Identifier: Apache-2.0
/// The command line of the program.
#pragma once

#include "verbs/verb.h"

#include <iosfwd>
#include <variant>

namespace Norvane::Host {

inline constexpr const char* kExitCodesHelp =
    "Exit code: 0 everything was done, 1 some input was refused or failed (a line on standard error names it), 2 the "
    "command line is wrong or the run would replace files that are not its own, 130 the run was interrupted. A status "
    "other than 0, such as \"tissue cut\", is a result and not a failure: it tells how far to trust the masks.";

/// What the program has to do, or the exit code if nothing is left to do. Help goes to `out`. If the command line is
/// wrong, the reason goes to `err`.
[[nodiscard]] std::variant<int, Task> parse_command_line(int argc, const char* const* argv, std::ostream& out,
                                                         std::ostream& err);

/// Runs the whole program. Reports go to `out`, and one line for each refused input goes to `err`. Returns an ExitCode.
[[nodiscard]] int run_program(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
