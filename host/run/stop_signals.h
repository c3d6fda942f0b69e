// SPDX-License-Identifier: Apache-2.0
/// Lets signals end a run.
#pragma once

#include <csignal>
#include <ctime>
#include <functional>
#include <thread>

namespace Norvane::Host {

/// While this object exists, SIGINT, SIGTERM and SIGHUP ask for an orderly end. After three seconds the program ends,
/// whatever its threads are doing. A second signal ends it at once.
class StopSignals {
public:
    /// The first signal also removes the file `name` in the open folder, unless `name` is null. Both must outlive this
    /// object.
    StopSignals(int folder, const char* name);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    [[nodiscard]] bool is_stop_wanted() const;

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGALRM};
    struct sigaction old_actions[4] = {};
};

/// While this object exists, a requested stop gives the work two seconds to finish. After that, `abandon` is called
/// once, on another thread, while the work goes on. It must not return.
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
