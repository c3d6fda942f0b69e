// SPDX-License-Identifier: Apache-2.0
#include "run/stop_signals.h"

#include "run/exit_code.h"

#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Norvane::Host {
namespace {

constexpr time_t kPatienceSeconds = 2;
constexpr itimerspec kLastMoment = {{0, 0}, {2, 900'000'000}};

// These belong to the process, like signals. A signal handler may use nothing else.
std::atomic<int> signals_seen{0};
std::atomic<int> folder_of_file{-1};
std::atomic<const char*> file_to_remove{nullptr};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<const char*>::is_always_lock_free);
sem_t wake_up;  // posted by the first signal and when the work ends
timer_t last_moment;
std::atomic<bool> has_timer{false};

void on_signal(int number) {
    if (number == SIGALRM || signals_seen.fetch_add(1) > 0) _exit(kExitInterrupted);
    const int error = errno;
    if (const char* file = file_to_remove) (void)unlinkat(folder_of_file, file, 0);
    if (has_timer) (void)timer_settime(last_moment, 0, &kLastMoment, nullptr);
    (void)sem_post(&wake_up);
    errno = error;
}

}  // namespace

StopSignals::StopSignals(int folder, const char* name) {
    signals_seen = 0;
    folder_of_file = folder;
    file_to_remove = name;
    (void)sem_init(&wake_up, 0, 0);
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    has_timer = timer_create(CLOCK_MONOTONIC, &event, &last_moment) == 0;
    struct sigaction action {};
    action.sa_handler = on_signal;
    action.sa_flags = SA_RESTART;  // reading of files continues
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        sigaction(kSignals[i], &action, &old_actions[i]);
        const bool is_ignored = kSignals[i] == SIGHUP && old_actions[i].sa_handler == SIG_IGN;  // set by nohup
        if (is_ignored) sigaction(SIGHUP, &old_actions[i], nullptr);
    }
}

StopSignals::~StopSignals() {
    file_to_remove = nullptr;
    if (has_timer.exchange(false)) (void)timer_delete(last_moment);
    for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &old_actions[i], nullptr);
}

bool StopSignals::is_stop_wanted() const { return signals_seen > 0; }

Patience::Patience(const StopSignals& signals, std::function<void()> abandon) {
    const auto wait = [&signals, abandon = std::move(abandon)] {
        while (sem_wait(&wake_up) != 0) {
        }
        if (!signals.is_stop_wanted()) return;  // the work is over
        timespec limit{};
        (void)clock_gettime(CLOCK_MONOTONIC, &limit);
        limit.tv_sec += kPatienceSeconds;
        while (sem_clockwait(&wake_up, CLOCK_MONOTONIC, &limit) != 0) {
            if (errno == ETIMEDOUT) return abandon();
        }
    };
    try {
        waiting = std::thread(wait);
    } catch (const std::system_error&) {
        // No thread can be started. The timer of StopSignals still ends the program.
    }
}

Patience::~Patience() {
    (void)sem_post(&wake_up);
    if (waiting.joinable()) waiting.join();
}

}  // namespace Norvane::Host
