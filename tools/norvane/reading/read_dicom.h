// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "reading/read_options.h"
#include "reading/source_image.h"

#include <filesystem>

namespace Norvane::Host {

/// One grey frame of a DICOM object, in any encoding that archives of mammograms hold. Throws Refusal.
[[nodiscard]] SourceImage read_dicom(const std::filesystem::path& file, const ReadOptions& options);

}  // namespace Norvane::Host
