// SPDX-License-Identifier: Apache-2.0
/// Texts from outside, such as names of files and values of headers, on their way to a terminal or a log.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace Norvane::Host {

/// The text as one line that does nothing to a terminal. Control characters, bytes that are not UTF-8, and characters
/// that separate lines or change the direction of writing become visible: \n, \x1b, \u202e; all others stay.
/// A line of JSON stays JSON of the same meaning, because the only ones that it holds are written as \u007f and up.
[[nodiscard]] std::string printable(std::string_view text);

/// Writes the text and the end of its line. All that the program says to people goes through here.
void print_line(std::ostream& stream, std::string_view text);

/// The same for a complaint, which begins with the name of the program and is seen at once.
void complain(std::ostream& err, std::string_view sentence);

}  // namespace Norvane::Host
