// SPDX-License-Identifier: Apache-2.0
#include "run/closing_lines.h"

#include "findings/status_text.h"
#include "run/doubt_order.h"
#include "run/run_files.h"

#include <fmt/core.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <utility>

namespace Norvane::Host {
namespace {

constexpr std::size_t kMostLines = 10;  // under each heading

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Replaces each number, with its decimals, by N: "has pixels of N micrometres".
std::string without_numbers(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!is_digit(text[i])) {
            plain += text[i];
            continue;
        }
        while (i + 1 < text.size() &&
               (is_digit(text[i + 1]) || (text[i + 1] == '.' && i + 2 < text.size() && is_digit(text[i + 2])))) {
            ++i;
        }
        plain += 'N';
    }
    return plain;
}

// Images with the same text.
struct Group {
    std::string text;
    std::size_t images = 0;
};

// Adds a heading and the groups, the largest first.
void add_groups(std::vector<std::string>& lines, const char* heading, std::vector<Group> groups) {
    if (groups.empty()) return;
    std::ranges::stable_sort(groups, std::ranges::greater(), &Group::images);
    lines.emplace_back(heading);
    std::size_t others = 0;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (i < kMostLines) {
            lines.push_back(fmt::format("    {:5}  {}", groups[i].images, groups[i].text));
        } else {
            others += groups[i].images;
        }
    }
    if (others > 0) lines.push_back(fmt::format("    {:5}  for other reasons", others));
}

std::vector<Group> statuses_of(const std::vector<ImageRecord>& records) {
    std::vector<Group> groups;
    for (const StatusText& text : kStatusTexts) {
        const auto has_it = [&text](const ImageRecord& r) { return r.refusal.empty() && r.status == text.status; };
        const auto images = static_cast<std::size_t>(std::ranges::count_if(records, has_it));
        if (images > 0) groups.push_back({fmt::format("{}: {}", text.name, text.sentence), images});
    }
    return groups;
}

std::vector<Group> refusals_of(const std::vector<ImageRecord>& records) {
    std::map<std::string, Group> by_reason;
    for (const ImageRecord& record : records) {
        if (record.refusal.empty()) continue;
        std::string reason = without_numbers(record.refusal);
        Group& group = by_reason[reason];
        if (group.images++ == 0) {
            group.text = record.refusal;
        } else if (group.text != record.refusal) {
            group.text = std::move(reason);
        }
    }
    std::vector<Group> groups;
    groups.reserve(by_reason.size());
    for (auto& [reason, group] : by_reason) groups.push_back(std::move(group));
    return groups;
}

void add_first_to_look_at(std::vector<std::string>& lines, const std::vector<ImageRecord>& records) {
    std::vector<const ImageRecord*> first = in_order_of_doubt(records);
    std::erase_if(first, [](const ImageRecord* record) { return reason_to_look(*record).empty(); });
    if (first.empty()) return;
    lines.emplace_back("Look at these first:");
    for (std::size_t i = 0; i < std::min(first.size(), kMostLines); ++i) {
        lines.push_back("    " + first[i]->file + ": " + reason_to_look(*first[i]));
    }
    if (first.size() > kMostLines) lines.push_back(fmt::format("    and {} more", first.size() - kMostLines));
}

std::string kinds_line(const RunOptions& options) {
    return fmt::format("Kinds of results: {}", fmt::join(options.results, ", "));
}

// Where to find the results: the page, or the folder.
std::string place_line(const RunOptions& options) {
    const std::string page = page_name_of(options);
    const std::filesystem::path folder = options.out_dir;
    return page.empty() ? "Results: " + folder.string() : "Page: " + (folder / page).string();
}

}  // namespace

RunCounts counts_of(const std::vector<ImageRecord>& records) {
    RunCounts counts;
    for (const ImageRecord& record : records) {
        ++(!record.refusal.empty() ? counts.refused : record.is_kept ? counts.kept : counts.done);
    }
    return counts;
}

std::string closing_line(const RunCounts& counts, const char* done) {
    std::string text = fmt::format("{} image{}: {} {}, {} kept from an earlier run, {} refused", counts.images(),
                                   counts.images() == 1 ? "" : "s", counts.done, done, counts.kept, counts.refused);
    if (counts.not_finished > 0) text += fmt::format(", {} not finished", counts.not_finished);
    if (counts.not_begun > 0) text += fmt::format(", {} not begun", counts.not_begun);
    if (counts.passed_over > 0) text += fmt::format("; {} other files passed over", counts.passed_over);
    return text;
}

std::vector<std::string> closing_lines(const RunOptions& options, const std::vector<ImageRecord>& records,
                                       const RunCounts& counts) {
    std::vector<std::string> lines;
    const bool is_one = counts.images() == 1 && counts.passed_over == 0;
    if (!is_one) {
        lines.push_back(closing_line(counts, options.is_dry_run ? "to do" : "done"));
        if (!options.is_dry_run) add_groups(lines, "Masks:", statuses_of(records));
        add_groups(lines, "Refused:", refusals_of(records));
        if (!options.is_dry_run) add_first_to_look_at(lines, records);
    }
    if (options.is_dry_run) {
        lines.push_back(kinds_line(options));
    } else if (!is_one || counts.done + counts.kept > 0) {
        lines.push_back(place_line(options));
    }
    if (counts.left() > 0) {
        lines.push_back(fmt::format(
            "The run was stopped before its end. To make the other {} image{}, give the same command with --resume.",
            counts.left(), counts.left() == 1 ? "" : "s"));
    }
    return lines;
}

}  // namespace Norvane::Host
