// SPDX-License-Identifier: Apache-2.0
/// The labels of all pixels of the source as files.
#pragma once

#include "export/source_masks.h"
#include "findings/findings.h"

#include <cstdint>
#include <span>
#include <string>

namespace Norvane::Host {

/// Appends a gzip stream of `header` and then of a SourceLabel for each pixel, row by row.
void append_compressed(std::string& bytes, std::span<std::uint8_t> header, const LabelImage& labels);

/// A grey PNG of 8 bits at the source's size whose samples are SourceLabels.
[[nodiscard]] std::string label_png(const Findings& findings);

/// The same as NRRD with its header attached, the pixel size in millimetres, compressed.
[[nodiscard]] std::string label_nrrd(const Findings& findings);

}  // namespace Norvane::Host
