// SPDX-License-Identifier: Apache-2.0
/// What the page of a run shows of one image.
#pragma once

#include "findings/image_analysis.h"
#include "run/output_set.h"

#include <filesystem>

namespace Norvane::Host {

/// STEM.thumb.jpg: a small picture with the outlines. STEM.picture.jpg: the prepared image in grey. STEM.layers.js: the
/// outlines to lay over it and the settings in words, as a call of norvaneLayers(). The last is a script because pages
/// that are opened from a folder may load scripts and pictures, and nothing else.
void add_page_files(OutputSet& outputs, const std::filesystem::path& stem, ImageAnalysis& analysis);

}  // namespace Norvane::Host
