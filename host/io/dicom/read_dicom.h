// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/read_options.h"
#include "io/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// One grey frame of a DICOM object, in any encoding that archives of mammograms hold. Throws Refusal.
[[nodiscard]] SourceImage read_dicom(const std::filesystem::path& path, const ReadOptions& options);

/// What the first DICOM file would do: loads the toolkit's dictionary. Should memory run out in it, the toolkit would
/// keep its lock, and every later file would wait for ever; so it is done before there are images in memory.
void load_dicom_dictionary();

/// The frames that the header of a DICOM object promises; 1 if it holds no image. Throws Refusal.
[[nodiscard]] unsigned count_dicom_frames(const std::filesystem::path& path, const ReadOptions& options);

}  // namespace Norvane::Host
