// SPDX-License-Identifier: Apache-2.0
#include "batch/stop_signals.h"

#include "batch/exit_code.h"

#include <unistd.h>

#include <atomic>

namespace Norvane::Host {
namespace {

// Of the process, as signals are.
std::atomic<int> signals_seen{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may use nothing else");

void on_signal(int /*number*/) {
    if (signals_seen.fetch_add(1) > 0) _exit(kExitInterrupted);
}

}  // namespace

StopSignals::StopSignals() {
    signals_seen = 0;
    struct sigaction action {};
    action.sa_handler = on_signal;
    action.sa_flags = SA_RESTART;  // files that are being read go on
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &old_interrupt);
    sigaction(SIGTERM, &action, &old_terminate);
}

StopSignals::~StopSignals() {
    sigaction(SIGINT, &old_interrupt, nullptr);
    sigaction(SIGTERM, &old_terminate, nullptr);
}

bool StopSignals::is_stop_wanted() const { return signals_seen > 0; }

}  // namespace Norvane::Host
