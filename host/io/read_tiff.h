// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/read_options.h"
#include "io/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// Reads a page of a grey TIFF of 8 or 16 bits, in strips or tiles, with any compression that libtiff knows. The
/// resolution is not used as the pixel size: it is that of a scanner or a printer and often made up. Throws Refusal.
[[nodiscard]] SourceImage read_tiff(const std::filesystem::path& file, const ReadOptions& options);

/// Throws Refusal.
[[nodiscard]] unsigned count_tiff_pages(const std::filesystem::path& file, const ReadOptions& options);

}  // namespace Norvane::Host
