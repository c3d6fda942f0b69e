// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "reading/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// A DICOM object with one grey frame: uncompressed, RLE or JPEG lossless. Throws Refusal.
[[nodiscard]] SourceImage read_dicom(const std::filesystem::path& file);

}  // namespace Norvane::Host
