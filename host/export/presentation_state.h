// SPDX-License-Identifier: Apache-2.0
/// Writes outlines as a DICOM presentation state, which a reading station lays over the mammogram.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The bytes of a Grayscale Softcopy Presentation State: the outlines of breast and muscle as graphics in layers of
/// their own, the exposed field as a polygonal shutter, and the display window of the file. Outlines follow the masks
/// to within about a pixel of the working grid. The same findings give the same bytes. Throws Refusal if the source is
/// not a DICOM object, if its header lacks a valid identifier, or if identifiers must not be read, because a
/// presentation state is nothing without its image.
[[nodiscard]] std::string presentation_state(const Findings& findings);

}  // namespace Norvane::Host
