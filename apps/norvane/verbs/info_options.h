// SPDX-License-Identifier: Apache-2.0
/// The options of "norvane info".
#pragma once

#include "verbs/info_command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Norvane::Host {

class InfoOptionSet {
public:
    explicit InfoOptionSet(CLI::App& app);
    InfoOptionSet(const InfoOptionSet&) = delete;  // the options point into this object
    InfoOptionSet& operator=(const InfoOptionSet&) = delete;

    [[nodiscard]] bool is_chosen() const { return verb->parsed(); }
    [[nodiscard]] InfoOptions finish();

private:
    CLI::App* verb;
    InfoOptions options;
    std::string format = "text";
};

}  // namespace Norvane::Host
