// SPDX-License-Identifier: Apache-2.0
#include "run/earlier_records.h"

#include "io/refusal.h"
#include "run/stamp.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostOfATable = std::size_t{1} << 30;  // a million images

// Whether a run may have given this name to results: a plain path below their folder. Somebody may have changed the
// table. Inputs that were refused before they were opened have no name.
bool is_name_of_results(const ImageRecord& listed) {
    if (listed.name.empty()) return !listed.refusal.empty();
    const fs::path name(listed.name);
    return name.is_relative() && name.has_filename() && *name.begin() != ".." && name != "." &&
           name.native() == name.lexically_normal().native() && listed.name.find('\0') == std::string::npos;
}

// No two records of a table share it. No name begins with a slash.
std::string key_of(const ImageRecord& record) { return record.name.empty() ? "/" + record.file : record.name; }

// The record that the stamp holds now, whatever a table says.
std::optional<ImageRecord> record_in_stamp(const ResultFolder& results, const std::string& name) {
    try {
        const auto folder = results.parent_of(name);
        const auto stamp = folder ? read_stamp(*folder, fs::path(name).filename().string()) : std::nullopt;
        return stamp && stamp->is_whole ? record_of(stamp->record) : std::nullopt;
    } catch (const Refusal&) {
        return std::nullopt;  // a name that leads elsewhere, or a file of somebody else
    }
}

std::optional<ImageRecord> record_as_it_is_now(const ImageRecord& listed, const ResultFolder& results) {
    std::error_code ignored;
    if (!listed.refusal.empty()) return fs::exists(listed.file, ignored) ? std::optional(listed) : std::nullopt;
    auto record = record_in_stamp(results, listed.name);
    if (!record) return std::nullopt;
    record->name = listed.name;
    record->is_kept = true;
    return record;
}

// Whether this run looked at the file again, or found images in the folder that an earlier run found empty.
bool is_among(const std::set<std::string>& files_of_run, const std::string& listed) {
    const auto below = files_of_run.lower_bound(listed + "/");
    return files_of_run.contains(listed) || (below != files_of_run.end() && below->starts_with(listed + "/"));
}

// Returns whether there was anything to withhold.
bool withhold(ImageRecord& record, Identifiers identifiers) {
    bool is_changed = false;
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        if (kTextFacts[i].read_with <= identifiers || record.texts[i].empty()) continue;
        record.texts[i].clear();
        is_changed = true;
    }
    return is_changed;
}

std::string note_about(const std::vector<std::string>& withheld) {
    if (withheld.empty()) return {};
    return fmt::format(
        "earlier results of {} image{} ({}{}) hold identifiers that this run does not read; its tables and page leave "
        "them out, but the other files keep them until these images are made again with the same options",
        withheld.size(), withheld.size() == 1 ? "" : "s", withheld.front(), withheld.size() == 1 ? "" : ", ...");
}

}  // namespace

JoinedRecords with_earlier_records(const RunOptions& options, std::vector<ImageRecord> records,
                                   const ResultFolder& results) {
    std::set<std::string> keys, files_of_run;
    for (const ImageRecord& record : records) {
        keys.insert(key_of(record));
        files_of_run.insert(record.file);
    }
    std::vector<ImageRecord> earlier;
    std::vector<std::string> withheld;
    for (const FolderEntry& entry : results.entries()) {
        if (!entry.is_file || !entry.name.starts_with("summary") || !entry.name.ends_with(".ndjson")) continue;
        std::istringstream lines(results.read(entry.name, kMostOfATable).value_or(""));
        for (std::string line; std::getline(lines, line);) {
            const auto listed = record_of(line);
            if (!listed || !is_name_of_results(*listed) || is_among(files_of_run, listed->file) ||
                keys.contains(key_of(*listed)))
                continue;
            if (options.shard && !is_in_shard({listed->file, {}, {}, listed->name}, *options.shard)) continue;
            auto record = record_as_it_is_now(*listed, results);
            if (!record) continue;
            if (withhold(*record, options.reading.identifiers)) withheld.push_back(record->name);
            keys.insert(key_of(*record));  // not the file: its other frames have names of their own
            earlier.push_back(*std::move(record));
        }
    }
    std::ranges::stable_sort(earlier, {}, &ImageRecord::name);
    std::ranges::move(earlier, std::back_inserter(records));
    return {std::move(records), note_about(withheld)};
}

}  // namespace Norvane::Host
