// SPDX-License-Identifier: Apache-2.0
/// Reads a mammogram from any of the formats that the program knows.
#pragma once

#include "io/read_options.h"
#include "io/source_image.h"

#include <filesystem>
#include <string>

namespace Norvane::Host {

/// The image in `file`, whose format is found by its first bytes, not by its name. Throws Refusal.
[[nodiscard]] SourceImage read_image(const std::filesystem::path& file, const ReadOptions& options = {});

/// The number of frames or pages in `file`; its header is read and no pixels. Throws Refusal.
[[nodiscard]] unsigned count_frames(const std::filesystem::path& file, const ReadOptions& options = {});

/// Whether the first bytes of `file` are those of a format that read_image() takes. Throws Refusal where there are
/// none.
[[nodiscard]] bool has_known_format(const std::filesystem::path& file);

/// Whether the name of a file ends like that of an image, such as ".dcm". The names of DICOM files are often numbers
/// with dots, which are no endings.
[[nodiscard]] bool has_image_ending(const std::filesystem::path& file);

/// All bytes of `file`. Throws Refusal.
[[nodiscard]] std::string read_bytes(const std::filesystem::path& file);

}  // namespace Norvane::Host
