// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// Reads a portable grey map, plain (P2) or raw (P5), of 8 or 16 bits, or a portable pixel map (P3, P6) whose colour
/// channels are equal. The used bits are those that the maximum value needs. Throws Refusal.
[[nodiscard]] SourceImage read_pgm(const std::filesystem::path& path, const ReadOptions& options = {});

}  // namespace Norvane::Host
