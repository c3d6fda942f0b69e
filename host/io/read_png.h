// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// A PNG of 8 or 16 bits that is grey, or whose colour channels are equal, without transparency. Gamma and colour
/// chunks are not applied. Throws Refusal.
[[nodiscard]] SourceImage read_png(const std::filesystem::path& file, const ReadOptions& options = {});

}  // namespace Norvane::Host
