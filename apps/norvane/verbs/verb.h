// SPDX-License-Identifier: Apache-2.0
/// The verbs of the program. Each is declared once, with its name, its options and what it does.
#pragma once

#include "run/option_table.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The work that a command line asks for. Reports go to the first stream, and a line for each refused input goes to the
/// second. Returns an ExitCode.
using Task = std::function<int(std::ostream& out, std::ostream& err)>;

struct Verb {
    std::string name;
    std::string summary;
    struct Words {  ///< the arguments that are not options
        std::string name;
        std::string help;
        bool are_required;
        bool are_many;
    } words;
    std::vector<OptionFacts> options;
    /// Throws WrongOption.
    std::function<Task(const std::vector<std::string>& words, const GivenOptions& given)> prepare;
};

[[nodiscard]] Verb masks_verb();
[[nodiscard]] Verb info_verb();
[[nodiscard]] Verb score_verb();
[[nodiscard]] Verb phantom_verb();

[[nodiscard]] inline std::vector<Verb> verbs() { return {masks_verb(), info_verb(), score_verb(), phantom_verb()}; }

}  // namespace Norvane::Host
