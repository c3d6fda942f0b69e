// SPDX-License-Identifier: Apache-2.0
/// Masks as DICOM segmentation objects.
#pragma once

#include "findings/image_analysis.h"

#include <string>

namespace Norvane::Host {

/// The segments of an object, a frame each; a mask that was not found is a frame without pixels.
enum class SegContent {
    kBreastAndMuscle,  ///< breast without muscle, and muscle
    kJoined,           ///< both in one segment, as far down as the muscle reaches: it would overlap the others
};

/// The bytes of the file. It belongs to the patient and the study of the source, and the same masks give the same
/// bytes. Throws Refusal for a source that is no DICOM object or whose header does not say which one.
[[nodiscard]] std::string dicom_seg(ImageAnalysis& analysis, SegContent content);

}  // namespace Norvane::Host
