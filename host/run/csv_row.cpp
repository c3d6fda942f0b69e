// SPDX-License-Identifier: Apache-2.0
#include "run/csv_row.h"

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

}  // namespace Norvane::Host
