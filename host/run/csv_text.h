// SPDX-License-Identifier: Apache-2.0
/// Writes fields of comma-separated tables.
#pragma once

#include <string>

namespace Norvane::Host {

/// A text as a field. It is quoted if it holds a character that begins or ends a field; semicolons and tabs count too,
/// because some spreadsheets separate by them. If a spreadsheet would take the text for a formula, an apostrophe is put
/// before it, as a user would.
[[nodiscard]] inline std::string csv_field(std::string text) {
    if (text.find_first_of("=+-@\t\r") == 0) text.insert(text.begin(), '\'');
    if (text.find_first_of(",;\t\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

/// The text of a field without the apostrophe that csv_field() puts before formulas.
[[nodiscard]] inline std::string without_formula_mark(const std::string& field) {
    return field.starts_with('\'') && field.find_first_of("=+-@\t\r", 1) == 1 ? field.substr(1) : field;
}

}  // namespace Norvane::Host
