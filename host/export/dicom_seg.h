// SPDX-License-Identifier: Apache-2.0
/// Writes masks as DICOM segmentation objects.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The bytes of a file with one segment for the breast without the muscle and, if the view shows it, one for the
/// muscle. It belongs to the patient and the study of the source. The same masks give the same bytes. Throws Refusal if
/// the source is not a DICOM object or if its header lacks a valid identifier.
[[nodiscard]] std::string breast_and_muscle_seg(const Findings& findings);

/// The same with the full mask, breast and upper muscle, as the only segment. It lacks the lower part of the muscle.
[[nodiscard]] std::string joined_seg(const Findings& findings);

/// A warning if the header lacks valid values for fields by which archives file an object: these objects leave them
/// empty. Empty if nothing is missing.
[[nodiscard]] std::string filing_warning(const Findings& findings);

}  // namespace Norvane::Host
