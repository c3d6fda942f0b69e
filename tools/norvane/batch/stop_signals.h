// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>

namespace Norvane::Host {

/// While it lives, SIGINT and SIGTERM ask for an orderly end; the second one ends the program at once.
class StopSignals {
public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    [[nodiscard]] bool is_stop_wanted() const;

private:
    struct sigaction old_interrupt {};
    struct sigaction old_terminate {};
};

}  // namespace Norvane::Host
