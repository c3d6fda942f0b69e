// SPDX-License-Identifier: Apache-2.0
/// Masks as DICOM segmentation objects.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The bytes of a file with a segment for the breast without its muscle and one for the muscle. It belongs to the
/// patient and the study of the source, and the same masks give the same bytes. Throws Refusal for a source that is no
/// DICOM object or whose header does not say which one.
[[nodiscard]] std::string breast_and_muscle_seg(const Findings& findings);

/// The same with one segment for both, as far down as the muscle reaches.
[[nodiscard]] std::string joined_seg(const Findings& findings);

/// A sentence about fields by which archives file an object and that have no valid value in the header: these objects
/// leave them empty. An empty text if all are there.
[[nodiscard]] std::string filing_warning(const Findings& findings);

}  // namespace Norvane::Host
