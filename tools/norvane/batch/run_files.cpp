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

std::string failed_of(const std::vector<ImageRecord>& records) {
    std::string text;
    for (const ImageRecord& record : records) text += record.refusal.empty() ? "" : record.file + "\n";
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

std::vector<std::string> write_run_files(const MasksOptions& options, const std::vector<ImageRecord>& records) {
    const fs::path out_dir = options.out_dir;
    std::string table = "summary";
    if (const auto& shard = options.shard) {
        table += '.';
        table += std::to_string(shard->number) + "-of-" + std::to_string(shard->count);
    }
    std::vector<std::string> failures;
    attempt(failures, "the run", [&] { write_file(out_dir / (table + ".csv"), csv_of(records)); });
    attempt(failures, "the run", [&] { write_file(out_dir / (table + ".ndjson"), ndjson_of(records)); });
    if (!options.fail_list.empty()) {
        attempt(failures, "the run", [&] { write_file(options.fail_list, failed_of(records)); });
    }
    if (options.has_page && !options.shard) {
        attempt(failures, "the page of the run", [&] { write_report_page(out_dir, records); });
    }
    return failures;
}

}  // namespace Norvane::Host
