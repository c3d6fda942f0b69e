// SPDX-License-Identifier: Apache-2.0
/// Reads comma-separated tables.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Norvane::Host {

/// Removes a row from the front of the text and returns its fields. A quoted field may hold separators, line feeds, and
/// quotes in pairs. Rows may end with a carriage return and a line feed.
[[nodiscard]] std::vector<std::string> take_csv_row(std::string_view& text, char separator);

/// The comma, semicolon or tab that stands first in the header; a comma if it has none of them.
[[nodiscard]] char csv_separator_of(std::string_view header);

/// The text after the mark that spreadsheets put before UTF-8.
[[nodiscard]] std::string_view without_byte_order_mark(std::string_view text);

}  // namespace Norvane::Host
