// SPDX-License-Identifier: Apache-2.0
#include "command_line.h"

#include "export/program_version.h"
#include "io/printable.h"
#include "option_texts.h"
#include "program.h"
#include "verbs/info_options.h"
#include "verbs/masks_options.h"
#include "verbs/phantom_options.h"
#include "verbs/score_options.h"

#include <CLI/CLI.hpp>

#include <ostream>
#include <string>

namespace Norvane::Host {

Command parse_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CLI::App app("Norvane: masks of mammograms", "norvane");
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("norvane ") + program_version(), "Print the version and exit");
    app.footer(kExitCodesHelp);
    app.failure_message([](const CLI::App* of, const CLI::Error& e) {
        return CLI::FailureMessage::simple(of, CLI::Error(e.get_name(), printable(e.what())));  // it quotes arguments
    });
    MasksOptionSet masks(app);
    InfoOptionSet info(app);
    ScoreOptionSet score(app);
    PhantomOptionSet phantom(app);
    try {
        app.parse(argc, argv);
        if (masks.is_chosen()) return masks.finish();
        if (info.is_chosen()) return info.finish();
        if (score.is_chosen()) return score.finish();
        return phantom.finish();
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err) == 0 ? kExitDone : kExitUsage;
    }
}

}  // namespace Norvane::Host
