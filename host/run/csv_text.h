// SPDX-License-Identifier: Apache-2.0
/// Fields of comma-separated tables.
#pragma once

#include <string>

namespace Norvane::Host {

/// A text as a field: quoted if it holds what ends or begins one, for spreadsheets that take semicolons and tabs for it
/// as well. What a spreadsheet would take for a formula begins with an apostrophe, as the user of one would write it.
[[nodiscard]] inline std::string csv_field(std::string text) {
    if (text.find_first_of("=+-@\t\r") == 0) text.insert(text.begin(), '\'');
    if (text.find_first_of(",;\t\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

/// The text of a field as csv_field() was given it, as far as the mark of formulas is concerned.
[[nodiscard]] inline std::string without_formula_mark(const std::string& field) {
    return field.starts_with('\'') && field.find_first_of("=+-@\t\r", 1) == 1 ? field.substr(1) : field;
}

}  // namespace Norvane::Host
