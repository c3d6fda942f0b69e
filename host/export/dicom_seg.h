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

/// How a report refers to the object of breast_and_muscle_seg().
struct SegIdentity {
    std::string class_uid;
    std::string series_uid;
    std::string instance_uid;
};
/// Throws Refusal as breast_and_muscle_seg() does.
[[nodiscard]] SegIdentity breast_and_muscle_seg_identity(const Findings& findings);

}  // namespace Norvane::Host
