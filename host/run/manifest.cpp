// SPDX-License-Identifier: Apache-2.0
#include "run/manifest.h"

#include "io/refusal.h"
#include "run/listed_place.h"
#include "run/csv_text.h"

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
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

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

// Takes a row away from the front: a quoted field may hold separators, line feeds, and quotes in pairs.
Row take_row(std::string_view& text, char separator) {
    Row row(1);
    bool is_quoted = false;
    std::size_t at = 0;
    for (; at < text.size() && (is_quoted || text[at] != '\n'); ++at) {
        const char c = text[at];
        if (c == '"' && is_quoted && text.substr(at + 1).starts_with('"')) {
            row.back() += text[++at];
        } else if (c == '"' && (is_quoted || row.back().empty())) {
            is_quoted = !is_quoted;
        } else if (c == separator && !is_quoted) {
            row.emplace_back();
        } else {
            row.back() += c;
        }
    }
    text.remove_prefix(std::min(at + 1, text.size()));
    if (row.back().ends_with('\r')) row.back().pop_back();
    return row;
}

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
    const std::size_t at = header.find_first_of(",;\t");
    const char separator = at == std::string_view::npos ? ',' : header[at];
    const Row titles = take_row(header, separator);
    const bool has_file =
        std::ranges::any_of(titles, [](const std::string& title) { return column_name(title) == kFileColumn; });
    return has_file ? separator : '\0';
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
    Row names;
    std::string unused;
    for (const std::string& title : take_row(text, separator)) {
        std::string name = column_name(title);
        const bool is_used = name == kFileColumn || std::ranges::find(columns, name) != columns.end();
        if (!is_used && !name.empty()) unused += (unused.empty() ? "" : ", ") + trimmed(title);
        names.push_back(is_used ? std::move(name) : std::string());
    }
    std::size_t nameless = 0;
    while (!text.empty()) {
        const Row row = take_row(text, separator);
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
    std::string_view text = whole;
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    const char separator = list_end == '\n' ? separator_of(line_of(text.substr(0, text.find('\n')))) : '\0';
    Manifest listed = separator == '\0' ? plain_list(whole, list_end) : table(text, separator, columns);
    for (ManifestEntry& entry : listed.entries) {
        ListedPlace place = place_of_listed(entry.file);
        entry.file = std::move(place.file);
        entry.base = std::move(place.base);
    }
    return listed;
}

}  // namespace Norvane::Host
