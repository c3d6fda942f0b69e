// SPDX-License-Identifier: Apache-2.0
#include "run/marks.h"

#include "io/refusal.h"
#include "run/csv_table.h"
#include "run/csv_text.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

namespace Norvane::Host {
namespace {

using Row = std::vector<std::string>;

std::string text_of(const std::filesystem::path& table) {
    std::ifstream stream(table, std::ios::binary);
    if (!stream) throw Refusal(std::string("cannot be opened: ") + std::strerror(errno));
    std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (stream.bad()) throw Refusal("cannot be read");
    return text;
}

// The field of the row in the column with this name; nothing if there is no such column.
std::string field_of(const Row& row, const Row& names, const char* name) {
    const auto column = static_cast<std::size_t>(std::ranges::find(names, name) - names.begin());
    return column < row.size() ? row[column] : std::string();
}

}  // namespace

std::vector<Mark> read_marks(const std::filesystem::path& table) {
    const std::string whole = text_of(table);
    std::string_view text = without_byte_order_mark(whole);
    const char separator = csv_separator_of(text.substr(0, text.find('\n')));
    const Row names = take_csv_row(text, separator);
    for (const char* name : {"file", kMarkColumn}) {
        if (std::ranges::find(names, name) == names.end()) {
            throw Refusal(std::string("has no column ") + name + ": marks are exported by report.html");
        }
    }
    std::vector<Mark> marks;
    while (!text.empty()) {
        const Row row = take_csv_row(text, separator);
        Mark mark{field_of(row, names, "file"), field_of(row, names, kMarkColumn),
                  without_formula_mark(field_of(row, names, kNoteColumn))};
        if (!mark.file.empty()) marks.push_back(std::move(mark));
    }
    return marks;
}

}  // namespace Norvane::Host
