// SPDX-License-Identifier: Apache-2.0
/// Names of files as text in lines of UTF-8. Names are bytes: they may hold line feeds and what is no UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace Norvane::Host {

/// The name with "%", control characters and bytes that are no UTF-8 written %XX. Names without these stay as they are.
[[nodiscard]] std::string text_of_name(std::string_view name);
/// The name that has this text.
[[nodiscard]] std::string name_of_text(std::string_view text);

}  // namespace Norvane::Host
