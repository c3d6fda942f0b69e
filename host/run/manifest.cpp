// SPDX-License-Identifier: Apache-2.0
#include "run/manifest.h"

#include "io/refusal.h"
#include "run/csv_table.h"
#include "run/csv_text.h"
#include "run/listed_place.h"
#include "run/marks.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>
#include <utility>

namespace Norvane::Host {
namespace {

constexpr const char* kFileColumn = "file";

// People write noise class and pixel_size for the options.
constexpr std::pair<const char*, const char*> kOtherNames[] = {{"noise-class", "noise"}};

std::string whole_text_of(const std::string& manifest) {
    std::ifstream file;
    if (manifest != "-") file.open(manifest);
    std::istream& stream = manifest == "-" ? std::cin : file;
    if (!stream) throw Refusal(std::string("cannot be opened: ") + std::strerror(errno));
    std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (stream.bad()) throw Refusal("cannot be read");
    return text;
}

// Takes the text up to `end` away from the front.
std::string_view take_until(std::string_view& text, char end) {
    const std::string_view taken = text.substr(0, text.find(end));
    text.remove_prefix(std::min(taken.size() + 1, text.size()));
    return taken;
}

// Without the carriage return of other systems.
std::string_view line_of(std::string_view text) {
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

Manifest plain_list(std::string_view text, char list_end) {
    Manifest manifest;
    while (!text.empty()) {
        const std::string_view name = take_until(text, list_end);
        const std::string_view file = list_end == '\n' ? line_of(name) : name;
        if (!file.empty()) manifest.entries.push_back({std::string(file)});
    }
    return manifest;
}

using Row = std::vector<std::string>;

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(" \t") + 1 - first));
}

// The name of the option, however the column writes it: Pixel size, pixel_size.
std::string column_name(std::string_view title) {
    std::string name = trimmed(title);
    std::ranges::transform(name, name.begin(), [](unsigned char c) {
        return c == ' ' || c == '_' ? '-' : static_cast<char>(std::tolower(c));
    });
    for (const auto& [other, option] : kOtherNames) {
        if (name == other) name = option;
    }
    return name;
}

// The separator of a CSV; NUL if the line is none's header.
char separator_of(std::string_view header) {
    std::error_code ignored;
    if (std::filesystem::exists(header, ignored)) return '\0';
    const char separator = csv_separator_of(header);
    const Row titles = take_csv_row(header, separator);
    const bool has_file =
        std::ranges::any_of(titles, [](const std::string& title) { return column_name(title) == kFileColumn; });
    return has_file ? separator : '\0';
}

bool is_used(const std::string& name, const std::vector<std::string>& columns) {
    return name == kFileColumn || std::ranges::find(columns, name) != columns.end();
}

// The titles of columns that say nothing to a run, with commas between. Those of a table of marks are no surprise.
std::string unused_titles(const Row& titles, const std::vector<std::string>& columns) {
    const bool are_marks =
        std::ranges::any_of(titles, [](const std::string& title) { return column_name(title) == kMarkColumn; });
    std::string unused;
    for (const std::string& title : titles) {
        const std::string name = column_name(title);
        const bool is_of_mark = are_marks && (name == kMarkColumn || name == kNoteColumn);
        if (!is_used(name, columns) && !is_of_mark && !name.empty())
            unused += (unused.empty() ? "" : ", ") + trimmed(title);
    }
    return unused;
}

// The entry of a row; no file if the row is empty.
ManifestEntry entry_of(const Row& row, const Row& names) {
    ManifestEntry entry;
    for (std::size_t i = 0; i < std::min(row.size(), names.size()); ++i) {
        if (names[i].empty()) continue;
        if (names[i] == kFileColumn) {
            entry.file = without_formula_mark(row[i]);
        } else if (const std::string value = trimmed(row[i]); !value.empty()) {
            entry.own[names[i]] = {value};
        }
    }
    if (row.size() > names.size()) {
        entry.refusal = "has more cells in the manifest than the header: quote a name that holds the separator";
    }
    return entry;
}

Manifest table(std::string_view text, char separator, const std::vector<std::string>& columns) {
    Manifest manifest;
    const Row titles = take_csv_row(text, separator);
    const std::string unused = unused_titles(titles, columns);
    Row names;
    for (const std::string& title : titles) {
        const std::string name = column_name(title);
        names.push_back(is_used(name, columns) ? name : std::string());
    }
    std::size_t nameless = 0;
    while (!text.empty()) {
        const Row row = take_csv_row(text, separator);
        const bool is_blank = std::ranges::all_of(row, [](const std::string& cell) { return trimmed(cell).empty(); });
        if (is_blank) continue;
        ManifestEntry entry = entry_of(row, names);
        if (entry.file.empty()) {
            ++nameless;
        } else {
            manifest.entries.push_back(std::move(entry));
        }
    }
    if (!unused.empty()) manifest.note = "has columns that are not used: " + unused;
    if (nameless > 0)
        manifest.note += fmt::format("{}has rows without a file: {}", unused.empty() ? "" : "; it ", nameless);
    return manifest;
}

}  // namespace

Manifest read_manifest(const std::string& manifest, char list_end, const std::vector<std::string>& columns) {
    const std::string whole = whole_text_of(manifest);
    const std::string_view text = without_byte_order_mark(whole);
    const char separator = list_end == '\n' ? separator_of(line_of(text.substr(0, text.find('\n')))) : '\0';
    Manifest listed = separator == '\0' ? plain_list(list_end == '\n' ? text : std::string_view(whole), list_end)
                                        : table(text, separator, columns);
    for (ManifestEntry& entry : listed.entries) {
        ListedPlace place = place_of_listed(entry.file);
        entry.file = std::move(place.file);
        entry.base = std::move(place.base);
    }
    return listed;
}

}  // namespace Norvane::Host
