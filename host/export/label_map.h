// SPDX-License-Identifier: Apache-2.0
/// The labels of all pixels of the source as files.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// A grey PNG of 8 bits at the source's size whose samples are SourceLabels.
[[nodiscard]] std::string label_png(const Findings& findings);

/// The same as NRRD with its header attached, the pixel size in millimetres, compressed.
[[nodiscard]] std::string label_nrrd(const Findings& findings);

}  // namespace Norvane::Host
