// SPDX-License-Identifier: Apache-2.0
/// The pixels of DICOM segmentation objects.
#pragma once

#include "export/bit_frames.h"
#include "findings/findings.h"

#include <cstdint>
#include <vector>

namespace Norvane::Host {

/// The segments of an object. If the view shows a muscle and none was found, its segment has no pixels.
enum class SegContent {
    kBreastAndMuscle,  ///< 1: breast without muscle; and 2: muscle, if the view shows one
    kJoined,           ///< 1: the full mask; in an object of its own, since it overlaps the others
};

/// A frame for each segment.
[[nodiscard]] BitFrames seg_frames(const Findings& findings, SegContent content);

/// A byte for each pixel of the source, row by row: the number of its segment, or 0. The number of bytes is even.
[[nodiscard]] std::vector<std::uint8_t> seg_labels(const Findings& findings, SegContent content);

}  // namespace Norvane::Host
