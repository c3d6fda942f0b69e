// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The labels of all pixels of the source as a compressed NIfTI-1 file of one slice: bytes, 1 breast and 2 pectoral
/// muscle, the pixel size in millimetres. A projection has no place in the patient, so the file names none (both form
/// codes are 0). Throws Refusal for an image of more than 32767 columns or rows, which the format cannot hold.
[[nodiscard]] std::string label_nifti(const Findings& findings);

}  // namespace Norvane::Host
