// SPDX-License-Identifier: Apache-2.0
/// Files whose place the user named.
#pragma once

#include <filesystem>
#include <string_view>

namespace Norvane::Host {

/// Writes the file, which appears whole or not at all; an older one is replaced. A device or a pipe is written at once
/// and stays what it is. Throws Refusal with the path and the system's reason.
void write_named_file(const std::filesystem::path& file, std::string_view bytes);

}  // namespace Norvane::Host
