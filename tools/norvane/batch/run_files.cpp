// SPDX-License-Identifier: Apache-2.0
#include "batch/run_files.h"

#include "batch/report_page.h"
#include "results/output_set.h"

#include <exception>
#include <filesystem>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

std::string csv_of(const std::vector<ImageRecord>& records) {
    std::string text = csv_header() + "\n";
    for (const ImageRecord& record : records) text += csv_row(record) + "\n";
    return text;
}

std::string ndjson_of(const std::vector<ImageRecord>& records) {
    std::string text;
    for (const ImageRecord& record : records) text += json_line(record) + "\n";
    return text;
}

// Whether the name read from a list would be the one that was written to it.
bool can_be_listed(const std::string& name, char list_end) {
    return name.find('\0') == std::string::npos && name.find(list_end) == std::string::npos &&
           (list_end == '\0' || !name.ends_with('\r'));
}

std::string failed_of(const std::vector<ImageRecord>& records, char list_end, std::vector<std::string>& failures) {
    std::string text;
    for (const ImageRecord& record : records) {
        if (record.refusal.empty()) continue;
        if (can_be_listed(record.file, list_end)) {
            text += record.file + list_end;
        } else {
            failures.push_back(record.file +
                               " is left out of the list of failures, which cannot hold such a name without --null");
        }
    }
    return text;
}

void write_file(const fs::path& file, const std::string& text) {
    OutputSet output;
    output.add(file, text);
    output.commit();
}

// The others are tried even if one cannot be written.
template <class Write>
void attempt(std::vector<std::string>& failures, const std::string& what, const Write& write) {
    try {
        write();
    } catch (const std::exception& e) {
        failures.push_back(what + " " + e.what());
    }
}

}  // namespace

std::vector<std::string> write_run_files(const MasksOptions& options, const std::vector<ImageRecord>& records,
                                         const Leftovers& leftovers) {
    const fs::path out_dir = options.out_dir;
    std::string table = "summary";
    if (const auto& shard = options.shard) {
        table += '.';
        table += std::to_string(shard->number) + "-of-" + std::to_string(shard->count);
    }
    std::vector<std::string> failures;
    const auto write = [&](const fs::path& file, const auto& text_of) {
        leftovers.remove_those_of(file);
        attempt(failures, "the run", [&] { write_file(file, text_of(records)); });
    };
    write(out_dir / (table + ".csv"), csv_of);
    write(out_dir / (table + ".ndjson"), ndjson_of);
    if (!options.fail_list.empty()) {
        write(options.fail_list, [&](const auto& of) { return failed_of(of, options.list_end, failures); });
    }
    if (options.has_page && !options.shard) {
        leftovers.remove_those_of(out_dir / "report.html");
        attempt(failures, "the page of the run", [&] { write_report_page(out_dir, records); });
    }
    return failures;
}

}  // namespace Norvane::Host
