// SPDX-License-Identifier: Apache-2.0
/// Which images of a run should be looked at first. The page and the closing lines of a run follow the same order.
#pragma once

#include "run/image_record.h"

#include <vector>

namespace Norvane::Host {

/// How far a status puts the masks in doubt.
enum Gravity { kNoDoubt = 0, kMuscleMissing = 1, kMaskDoubtful = 2, kMaskUseless = 3 };
[[nodiscard]] Gravity gravity_of(Masking::MASK_STATUS status);
[[nodiscard]] Gravity gravity_of(const ImageRecord& record);

/// The statuses that speak against the masks, each once, gravest first.
[[nodiscard]] std::vector<Masking::MASK_STATUS> doubts_of(const ImageRecord& record);

/// The doubt of the breast or of the muscle, whichever is greater; 0 if neither is known.
[[nodiscard]] double greatest_doubt_of(const ImageRecord& record);

/// Whether a person should look at the masks: a status speaks against them, or their doubt is above 0.5.
[[nodiscard]] bool needs_a_look(const ImageRecord& record);

/// The images that were not refused, by falling gravity of their statuses, then by falling doubt, then by rising
/// contrast across the outline. Images that are equal in all of these keep their order.
[[nodiscard]] std::vector<const ImageRecord*> in_order_of_doubt(const std::vector<ImageRecord>& records);

}  // namespace Norvane::Host
