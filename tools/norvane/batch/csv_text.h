// SPDX-License-Identifier: Apache-2.0
/// Fields of comma-separated tables.
#pragma once

#include <string>

namespace Norvane::Host {

/// Quoted where the text holds what would end or begin a field.
[[nodiscard]] inline std::string csv_field(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

}  // namespace Norvane::Host
