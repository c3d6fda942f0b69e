// SPDX-License-Identifier: Apache-2.0
#include "run/console.h"

#include "io/printable.h"

#include <unistd.h>

#include <fmt/core.h>

#include <iostream>

namespace Norvane::Host {
namespace {

constexpr std::chrono::milliseconds kTerminalInterval{200};
constexpr std::chrono::minutes kLogInterval{1};
constexpr const char* kClearLine = "\r\x1b[K";

std::string duration_text(double seconds) {
    constexpr double kMinute = 60.0;
    constexpr double kHour = 3600.0;
    if (seconds < kMinute) return fmt::format("{:.0f} s", seconds);
    if (seconds < kHour) return fmt::format("{:.0f} min", seconds / kMinute);
    return fmt::format("{:.1f} h", seconds / kHour);
}

}  // namespace

std::string progress_text(std::size_t finished, std::size_t kept, std::size_t total, double seconds) {
    std::string text = fmt::format("{} of {} images", finished, total);
    const double made = static_cast<double>(finished - kept);
    if (made == 0.0 || seconds <= 0.0) return text;
    const double rate = made / seconds;
    return text + fmt::format(", {:.{}f} a second, {} left", rate, rate < 10.0 ? 1 : 0,
                              duration_text(static_cast<double>(total - finished) / rate));
}

Console::Console(std::ostream& report_stream, std::ostream& error_stream, std::size_t images)
    : out(report_stream),
      err(error_stream),
      is_terminal(&error_stream == &std::cerr && isatty(STDERR_FILENO) != 0),
      total(images) {}

Console::~Console() { clear_progress(); }

void Console::finish_image(const std::vector<std::string>& report_lines, const std::string& complaint, bool is_kept) {
    const std::scoped_lock lock(mutex);
    ++finished;
    kept += is_kept ? 1 : 0;
    if (!report_lines.empty() || !complaint.empty()) clear_progress();
    for (const std::string& line : report_lines) print_line(out, line);
    out.flush();
    if (!complaint.empty()) complain(err, complaint);
    show_progress();
}

void Console::clear_progress() {
    if (!is_terminal) return;
    err << kClearLine << std::flush;
    last_shown = {};  // so that the next call shows it again
}

void Console::show_progress() {
    const Clock::time_point now = Clock::now();
    if (now - last_shown < (is_terminal ? Clock::duration(kTerminalInterval) : Clock::duration(kLogInterval))) return;
    last_shown = now;
    const std::string text = progress_text(finished, kept, total, std::chrono::duration<double>(now - start).count());
    err << (is_terminal ? kClearLine : "norvane: ") << text << (is_terminal ? "" : "\n") << std::flush;
}

}  // namespace Norvane::Host
