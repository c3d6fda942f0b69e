// SPDX-License-Identifier: Apache-2.0
/// The options of "norvane phantom".
#pragma once

#include "verbs/phantom_command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Norvane::Host {

class PhantomOptionSet {
public:
    explicit PhantomOptionSet(CLI::App& app);
    PhantomOptionSet(const PhantomOptionSet&) = delete;  // the options point into this object
    PhantomOptionSet& operator=(const PhantomOptionSet&) = delete;

    [[nodiscard]] bool is_chosen() const { return verb->parsed(); }
    [[nodiscard]] PhantomOptions finish();

private:
    CLI::App* verb;
    PhantomOptions options;
    std::string side = "left", view = "mlo", frame = "collimation", look = "film";
};

}  // namespace Norvane::Host
