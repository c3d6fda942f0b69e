// SPDX-License-Identifier: Apache-2.0
#include "run/csv_table.h"

#include <algorithm>
#include <cstddef>

namespace Norvane::Host {

std::vector<std::string> take_csv_row(std::string_view& text, char separator) {
    std::vector<std::string> row(1);
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

char csv_separator_of(std::string_view header) {
    const std::size_t at = header.find_first_of(",;\t");
    return at == std::string_view::npos ? ',' : header[at];
}

std::string_view without_byte_order_mark(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    return text.starts_with(kMark) ? text.substr(kMark.size()) : text;
}

}  // namespace Norvane::Host
