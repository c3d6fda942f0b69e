// SPDX-License-Identifier: Apache-2.0
/// Reads a mammogram from any of the formats that the program knows.
#pragma once

#include "io/read_options.h"
#include "io/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// Reads the image in `file`. The first bytes tell its format, not its name. Throws Refusal.
[[nodiscard]] SourceImage read_image(const std::filesystem::path& file, const ReadOptions& options = {});

/// The number of frames or pages in `file`; its header is read and no pixels. Throws Refusal.
[[nodiscard]] unsigned count_frames(const std::filesystem::path& file, const ReadOptions& options = {});

/// Whether the first bytes of `file` are those of a format that read_image() takes. Throws Refusal if the file is empty
/// or cannot be read.
[[nodiscard]] bool has_known_format(const std::filesystem::path& file);

/// Whether the file name has an ending of an image format, such as ".dcm". DICOM files are often named by numbers with
/// dots; these are not endings.
[[nodiscard]] bool has_image_ending(const std::filesystem::path& file);

}  // namespace Norvane::Host
