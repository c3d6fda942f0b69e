// SPDX-License-Identifier: Apache-2.0
/// How signals end a run.
#pragma once

#include <csignal>
#include <ctime>
#include <functional>
#include <thread>

namespace Norvane::Host {

/// While it lives, SIGINT, SIGTERM and SIGHUP ask for an orderly end, which may take three seconds, whatever the
/// threads are doing then. The second signal ends the program at once.
class StopSignals {
public:
    /// The first signal also removes the file `name` of the open folder; both have to live longer. No name: nothing.
    StopSignals(int folder, const char* name);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    [[nodiscard]] bool is_stop_wanted() const;

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGALRM};
    struct sigaction old_actions[4] = {};
};

/// While it lives, a stop that is wanted leaves the work under way two seconds. Then `abandon` is called on another
/// thread, once, while the work goes on. It must not return.
class Patience {
public:
    Patience(const StopSignals& signals, std::function<void()> abandon);
    ~Patience();
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

private:
    std::thread waiting;
};

}  // namespace Norvane::Host
