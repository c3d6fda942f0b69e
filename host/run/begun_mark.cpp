// SPDX-License-Identifier: Apache-2.0
#include "run/begun_mark.h"

#include "io/refusal.h"
#include "run/name_text.h"
#include "run/output_set.h"
#include "run/stamp.h"

#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <optional>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kBeginning = "{\"begun\":1,\"deaths\":";

// The number in the mark. Nothing if there is no mark.
std::optional<unsigned> deaths_in_mark(const ResultFolder& folder, const std::string& stem) {
    const auto text = folder.read(begun_mark_file(stem));
    if (!text) return std::nullopt;
    unsigned deaths = 0;
    const bool is_own = text->starts_with(kBeginning);
    const char* digits = text->data() + (is_own ? kBeginning.size() : 0);
    if (!is_own || std::from_chars(digits, text->data() + text->size(), deaths).ec != std::errc()) {
        refuse_foreign(folder.path_of(begun_mark_file(stem)));
    }
    return deaths;
}

// Returns false if another run has completed the image since.
bool mark(const ResultFolder& results, const RunFolder& run, const fs::path& name, const std::string& stamp_identity) {
    const ResultFolder folder = results.make_parent_of(name);
    const std::string stem = name.filename().string();
    if (folder.identity_of(stamp_file(stem)) != stamp_identity) {
        const auto stamp = read_stamp(folder, stem);
        if (stamp && stamp->is_whole) return false;
    }
    OutputSet output(run, folder);
    const unsigned deaths = deaths_of(folder, stem) + 1;
    output.add(begun_mark_file(stem), std::string(kBeginning) + std::to_string(deaths) + "}\n");
    output.commit([](const std::string&, std::uintmax_t) { return true; });  // deaths_of() has checked it
    return true;
}

}  // namespace

unsigned deaths_of(const ResultFolder& folder, const std::string& stem) {
    return deaths_in_mark(folder, stem).value_or(0);
}

void remove_begun_mark(const ResultFolder& folder, const std::string& stem) {
    if (deaths_in_mark(folder, stem)) (void)::unlinkat(folder.descriptor(), begun_mark_file(stem).c_str(), 0);
}

std::string under_way_line(const std::string& name, const std::string& stamp_identity) {
    return stamp_identity + " " + text_of_name(name);
}

std::unordered_set<std::string> take_over_dead_runs(const ResultFolder& results, const RunFolder& run) {
    std::unordered_set<std::string> marked;
    clear_dead_runs(results, [&](const std::vector<std::string>& lines) {
        for (const std::string& line : lines) {
            const std::size_t space = line.find(' ');
            if (space == std::string::npos) continue;
            const std::string name = name_of_text(line.substr(space + 1));
            try {
                if (mark(results, run, name, line.substr(0, space))) marked.insert(name);
            } catch (const Refusal&) {
                // The file that lies there will also cause the refusal of the image.
            }
        }
    });
    return marked;
}

}  // namespace Norvane::Host
