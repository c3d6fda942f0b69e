// SPDX-License-Identifier: Apache-2.0
/// The command line as records.
#pragma once

#include "run/masks_command.h"
#include "verbs/info_command.h"
#include "verbs/phantom_command.h"
#include "verbs/score_command.h"

#include <iosfwd>
#include <variant>

namespace Norvane::Host {

/// What to do, or the exit code when there is nothing to do any more.
using Command = std::variant<int, MasksOptions, InfoOptions, ScoreOptions, PhantomOptions>;

/// Help goes to `out`, what is wrong with the command line to `err`.
[[nodiscard]] Command parse_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
