// SPDX-License-Identifier: Apache-2.0
#include "program.h"

#include "command_line.h"
#include "io/printable.h"
#include "run/exit_code.h"
#include "run/masks_command.h"
#include "verbs/info_command.h"
#include "verbs/phantom_command.h"
#include "verbs/score_command.h"

#include <exception>
#include <ostream>
#include <variant>

namespace Norvane::Host {

namespace {

int run(const Command& command, std::ostream& out, std::ostream& err) {
    if (const auto* masks = std::get_if<MasksOptions>(&command)) return run_masks_command(*masks, out, err);
    if (const auto* info = std::get_if<InfoOptions>(&command)) return run_info_command(*info, out, err);
    if (const auto* score = std::get_if<ScoreOptions>(&command)) return run_score_command(*score, out, err);
    if (const auto* phantom = std::get_if<PhantomOptions>(&command)) return run_phantom_command(*phantom, out, err);
    return std::get<int>(command);
}

}  // namespace

int run_program(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    try {
        const int code = run(parse_command_line(argc, argv, out, err), out, err);
        if (out.flush()) return code;
        complain(err, "the report cannot be written to standard output");
        return code == kExitDone ? kExitPartly : code;
    } catch (const std::exception& e) {
        complain(err, e.what());
        return kExitPartly;
    }
}

}  // namespace Norvane::Host
