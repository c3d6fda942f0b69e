// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// Reads a PNG of 8 or 16 bits without transparency that is grey or has equal colour channels. Gamma and colour chunks
/// are not applied. Throws Refusal.
[[nodiscard]] SourceImage read_png(const std::filesystem::path& file, const ReadOptions& options = {});

}  // namespace Norvane::Host
