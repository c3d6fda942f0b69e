// SPDX-License-Identifier: Apache-2.0
/// Writes the labels of all pixels of the source as files.
#pragma once

#include "export/source_masks.h"
#include "findings/findings.h"

#include <cstdint>
#include <span>
#include <string>

namespace Norvane::Host {

/// Appends a gzip stream that holds `header` and then a SourceLabel for each pixel, row by row.
void append_compressed(std::string& bytes, std::span<std::uint8_t> header, const LabelImage& labels);

/// A grey 8-bit PNG of the size of the source. Its samples are SourceLabels.
[[nodiscard]] std::string label_png(const Findings& findings);

/// The same as compressed NRRD with an attached header. The pixel size is in millimetres.
[[nodiscard]] std::string label_nrrd(const Findings& findings);

}  // namespace Norvane::Host
