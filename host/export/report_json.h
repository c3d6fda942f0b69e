// SPDX-License-Identifier: Apache-2.0
/// The results of one image as JSON.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// Statuses, settings with their reasons, geometry and masks as text. The report explains its own numbers: "geometry"
/// holds the way from a pixel of the source to one of the masks, "encodings" the forms of a mask.
[[nodiscard]] std::string report_json(const Findings& findings);

}  // namespace Norvane::Host
