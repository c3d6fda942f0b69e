// SPDX-License-Identifier: Apache-2.0
#include "run/run_files.h"

#include "export/coco_annotations.h"
#include "run/coco_data_set.h"
#include "run/earlier_records.h"
#include "run/listed_place.h"
#include "run/named_file.h"
#include "run/output_set.h"
#include "run/page/report_page.h"

#include <fmt/core.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace Norvane::Host {
namespace {

using Sentences = std::vector<std::string>;

constexpr const char* kPageName = "report.html";

std::string csv_of(const std::vector<ImageRecord>& records, const ResultFolder&, Sentences&) {
    std::string text = csv_header() + "\n";
    for (const ImageRecord& record : records) text += csv_row(record) + "\n";
    return text;
}

std::string ndjson_of(const std::vector<ImageRecord>& records, const ResultFolder&, Sentences&) {
    std::string text;
    for (const ImageRecord& record : records) text += json_line(record) + "\n";
    return text;
}

std::string page_of(const std::vector<ImageRecord>& records, const ResultFolder&, Sentences&) {
    return report_page(records);
}

// Whether the name can be read back from the list unchanged.
bool can_be_listed(const std::string& name, char list_end) {
    return name.find('\0') == std::string::npos && name.find(list_end) == std::string::npos &&
           (list_end == '\0' || !name.ends_with('\r'));
}

std::string failed_of(const std::vector<Input>& inputs, const std::vector<ImageRecord>& records, char list_end,
                      Sentences& failures) {
    std::map<std::string_view, std::filesystem::path> bases;
    for (const Input& input : inputs) bases.try_emplace(input.file, input.base);
    std::string text;
    std::set<std::string> listed;
    for (const ImageRecord& record : records) {
        if (record.refusal.empty()) continue;
        if (!listed.insert(record.file).second) continue;  // another frame of it was refused
        if (can_be_listed(record.file, list_end)) {
            text += listed_with_place(record.file, bases[record.file]) + list_end;
        } else {
            failures.push_back(record.file +
                               " is left out of the list of failures, which cannot hold such a name without --null");
        }
    }
    return text;
}

void write_file(const RunFile& file, const std::vector<ImageRecord>& records, const ResultFolder& results,
                const RunFolder& run, Sentences& failures) {
    OutputSet output(run, results);
    output.add(file.name, file.text_of(records, results, failures));
    output.commit([&](const std::string& name, std::uintmax_t) {
        return is_of_this_program(file, results.read(name, file.beginning.size()).value_or(""));
    });
}

// If one file cannot be written, the others are still tried.
template <class Write>
void attempt(Sentences& failures, const std::string& what, const Write& write) {
    try {
        write();
    } catch (const std::exception& e) {
        failures.push_back(what + " " + e.what());
    }
}

}  // namespace

std::string page_name_of(const RunOptions& options) {
    return options.has_page && !options.shard ? kPageName : std::string();
}

std::vector<RunFile> run_files_of(const RunOptions& options) {
    std::string part;
    if (const auto& shard = options.shard) part = fmt::format(".{}-of-{}", shard->number, shard->count);
    std::vector<RunFile> files = {{"summary" + part + ".csv", "file,name,refusal,", false, csv_of},
                                  {"summary" + part + ".ndjson", "{\"file\":", true, ndjson_of}};
    if (const std::string page = page_name_of(options); !page.empty()) {
        files.push_back({page, kPageBeginning, false, page_of});
    }
    if (std::ranges::find(options.results, kCocoKind) != options.results.end()) {
        files.push_back({"coco" + part + ".json", kCocoBeginning, false, coco_data_set});
    }
    return files;
}

WrittenRunFiles write_run_files(const RunOptions& options, const std::vector<Input>& inputs,
                                const std::vector<ImageRecord>& records, const ResultFolder& results,
                                const RunFolder& run) {
    Sentences failures;
    JoinedRecords all{records, {}};
    attempt(failures, "the run", [&] { all = with_earlier_records(options, records, results); });
    for (const RunFile& file : run_files_of(options)) {
        const char* what = file.name == kPageName ? "the page of the run" : "the run";
        attempt(failures, what, [&] { write_file(file, all.records, results, run, failures); });
    }
    if (!options.fail_list.empty()) {
        attempt(failures, "the run",
                [&] { write_named_file(options.fail_list, failed_of(inputs, records, options.list_end, failures)); });
    }
    return {std::move(failures), std::move(all.note)};
}

}  // namespace Norvane::Host
