// SPDX-License-Identifier: Apache-2.0
/// Reads comma-separated tables.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Norvane::Host {

/// Removes a row from the front of the text and returns its fields. A quoted field may hold separators, line feeds, and
/// quotes in pairs. Rows may end with a carriage return and a line feed.
[[nodiscard]] std::vector<std::string> take_csv_row(std::string_view& text, char separator = ',');

}  // namespace Norvane::Host
