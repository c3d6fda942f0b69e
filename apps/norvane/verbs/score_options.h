// SPDX-License-Identifier: Apache-2.0
/// The options of "norvane score".
#pragma once

#include "verbs/score_command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Norvane::Host {

class ScoreOptionSet {
public:
    explicit ScoreOptionSet(CLI::App& app);
    ScoreOptionSet(const ScoreOptionSet&) = delete;  // the options point into this object
    ScoreOptionSet& operator=(const ScoreOptionSet&) = delete;

    [[nodiscard]] bool is_chosen() const { return verb->parsed(); }
    [[nodiscard]] ScoreOptions finish();

private:
    CLI::App* verb;
    ScoreOptions options;
    std::string values;
};

}  // namespace Norvane::Host
