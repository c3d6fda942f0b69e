// SPDX-License-Identifier: Apache-2.0
/// Makes texts from outside, such as file names and header values, safe for a terminal or a log.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace Norvane::Host {

/// The text as one line that cannot control a terminal. Control characters, bytes that are not UTF-8, and characters
/// that separate lines or change the direction of writing are escaped: \n, \x1b, \u202e. All others stay.
/// A line of JSON keeps its meaning: of these characters it can only hold some from U+007F on, and their escapes are
/// those of JSON.
[[nodiscard]] std::string printable(std::string_view text);

/// Writes the text and ends the line. Everything that the program says to people goes through this function.
void print_line(std::ostream& stream, std::string_view text);

/// Writes "norvane: " and the sentence as a line, and flushes the stream.
void complain(std::ostream& err, std::string_view sentence);

}  // namespace Norvane::Host
