// SPDX-License-Identifier: Apache-2.0
/// Writes file names as text in lines of UTF-8. A file name may hold any bytes, such as line feeds and invalid UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace Norvane::Host {

/// The name with "%", control characters and bytes that are not UTF-8 written as %XX. Other names stay unchanged.
[[nodiscard]] std::string text_of_name(std::string_view name);
/// Turns such a text back into the name.
[[nodiscard]] std::string name_of_text(std::string_view text);

}  // namespace Norvane::Host
