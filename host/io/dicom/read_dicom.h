// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/read_options.h"
#include "io/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// Reads one grey frame of a DICOM object, in any encoding that archives of mammograms hold. Throws Refusal.
[[nodiscard]] SourceImage read_dicom(const std::filesystem::path& path, const ReadOptions& options);

/// Loads the toolkit's dictionary, which reading the first DICOM file would otherwise do. If memory ran out during
/// that, the toolkit would keep its lock and every later file would wait for ever. Call it before images are in memory.
void load_dicom_dictionary();

/// The frames that the header of a DICOM object promises; 1 if it holds no image. Throws Refusal.
[[nodiscard]] unsigned count_dicom_frames(const std::filesystem::path& path, const ReadOptions& options);

}  // namespace Norvane::Host
