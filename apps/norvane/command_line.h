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

/// What to do, or the exit code when there is nothing to do any more. Help goes to `out`, what is wrong with the
/// command line to `err`.
[[nodiscard]] std::variant<int, Task> parse_command_line(int argc, const char* const* argv, std::ostream& out,
                                                         std::ostream& err);

/// The whole program. Reports go to `out`, one line per refused input to `err`. Returns an ExitCode.
[[nodiscard]] int run_program(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
