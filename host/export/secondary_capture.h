// SPDX-License-Identifier: Apache-2.0
/// Writes the overlay as a DICOM image, for stations that show nothing else.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The bytes of a Secondary Capture with the picture of overlay_surface() in colour. The legend in it shows the name of
/// the file. The same findings give the same bytes. Throws Refusal if the source is not a DICOM object or if its header
/// lacks a valid identifier.
[[nodiscard]] std::string secondary_capture(const Findings& findings);

}  // namespace Norvane::Host
