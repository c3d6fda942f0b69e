// SPDX-License-Identifier: Apache-2.0
/// The messages of a run with several threads: its progress and its end.
#pragma once

#include <chrono>
#include <cstddef>
#include <iosfwd>
#include <mutex>
#include <string>
#include <vector>

namespace Norvane::Host {

/// "120 of 10000 images, 3.1 a second, 53 min left". Images kept from an earlier run took no time, so they do not count
/// for the rate.
[[nodiscard]] std::string progress_text(std::size_t finished, std::size_t kept, std::size_t total, double seconds);

class Console {
public:
    Console(std::ostream& report_stream, std::ostream& error_stream, std::size_t images);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// One image is finished. The complaint is a sentence or empty.
    void finish_image(const std::vector<std::string>& report_lines, const std::string& complaint, bool is_kept);

private:
    using Clock = std::chrono::steady_clock;

    void clear_progress();
    void show_progress();

    std::mutex mutex;
    std::ostream& out;
    std::ostream& err;
    bool is_terminal;  // if so, progress is one line that changes
    std::size_t total;
    std::size_t finished = 0;
    std::size_t kept = 0;
    Clock::time_point start = Clock::now();
    Clock::time_point last_shown = start;
};

}  // namespace Norvane::Host
