// SPDX-License-Identifier: Apache-2.0
/// The masks as pictures.
#pragma once

#include "findings/masks_run.h"
#include "run/output_set.h"

#include <norvane/image.h>

#include <filesystem>

namespace Norvane::Host {

/// A PNG per mask at the working grid, 255 inside and 0 outside, named STEM.frame.png and so on.
void add_mask_files(OutputSet& outputs, const std::filesystem::path& stem, const Image& prepared, MasksResult& masks);

}  // namespace Norvane::Host
