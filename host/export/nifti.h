// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The labels of all pixels of the source as a compressed NIfTI-1 file with one slice. Its samples are bytes: 1 is
/// breast and 2 is pectoral muscle. The pixel size is in millimetres. A projection has no position in the patient, so
/// both form codes are 0. Throws Refusal if the image has more than 32767 columns or rows, which the format cannot
/// hold.
[[nodiscard]] std::string label_nifti(const Findings& findings);

}  // namespace Norvane::Host
