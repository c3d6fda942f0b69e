// SPDX-License-Identifier: Apache-2.0
/// The picture of a mammogram with its masks drawn on it.
#pragma once

#include "export/mask_drawing.h"
#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The prepared image in grey with the outlines in colours. A legend beside it shows the name of the file, the settings
/// and the statuses in words.
[[nodiscard]] Surface overlay_surface(const Findings& findings);

/// The same as the bytes of a PNG file.
[[nodiscard]] std::string overlay_png(const Findings& findings);

}  // namespace Norvane::Host
