// SPDX-License-Identifier: Apache-2.0
/// Writes files whose path the user gave.
#pragma once

#include <filesystem>
#include <string_view>

namespace Norvane::Host {

/// Writes the file. It appears complete or not at all, and replaces an older one. A device or a pipe is written
/// directly. Throws Refusal with the path and the system's reason.
void write_named_file(const std::filesystem::path& file, std::string_view bytes);

}  // namespace Norvane::Host
