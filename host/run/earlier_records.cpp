// SPDX-License-Identifier: Apache-2.0
#include "run/earlier_records.h"

#include "io/refusal.h"
#include "run/stamp.h"

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

void withhold(ImageRecord& record, Identifiers identifiers) {
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        if (kTextFacts[i].read_with > identifiers) record.texts[i].clear();
    }
}

}  // namespace

std::vector<ImageRecord> with_earlier_records(const RunOptions& options, std::vector<ImageRecord> records,
                                              const ResultFolder& results) {
    std::set<std::string> names, files_of_run;
    for (const ImageRecord& record : records) {
        names.insert(record.name);
        files_of_run.insert(record.file);
    }
    std::vector<ImageRecord> earlier;
    for (const FolderEntry& entry : results.entries()) {
        if (!entry.is_file || !entry.name.starts_with("summary") || !entry.name.ends_with(".ndjson")) continue;
        std::istringstream lines(results.read(entry.name, kMostOfATable).value_or(""));
        for (std::string line; std::getline(lines, line);) {
            const auto listed = record_of(line);
            if (!listed || files_of_run.contains(listed->file) || names.contains(listed->name)) continue;
            if (options.shard && !is_in_shard({listed->file, {}, {}, listed->name}, *options.shard)) continue;
            auto record = record_as_it_is_now(*listed, results);
            if (!record) continue;
            withhold(*record, options.reading.identifiers);
            names.insert(record->name);  // not the file: its other frames have names of their own
            earlier.push_back(*std::move(record));
        }
    }
    std::ranges::stable_sort(earlier, {}, &ImageRecord::name);
    std::ranges::move(earlier, std::back_inserter(records));
    return records;
}

}  // namespace Norvane::Host
