// SPDX-License-Identifier: Apache-2.0
/// Decides which images of a run should be looked at first. The page and the closing lines of a run use the same order.
#pragma once

#include "run/image_record.h"

#include <string>
#include <vector>

namespace Norvane::Host {

/// How much doubt a status casts on the masks.
enum Gravity { kNoDoubt = 0, kMuscleMissing = 1, kMaskDoubtful = 2, kMaskUseless = 3 };
[[nodiscard]] Gravity gravity_of(Masking::MASK_STATUS status);
[[nodiscard]] Gravity gravity_of(const ImageRecord& record);

/// The statuses that cast doubt on the masks, each once, the gravest first.
[[nodiscard]] std::vector<Masking::MASK_STATUS> doubts_of(const ImageRecord& record);

/// The doubt of the breast or of the muscle, whichever is greater; 0 if neither is known.
[[nodiscard]] double greatest_doubt_of(const ImageRecord& record);

/// Why a person should look at the masks: the gravest status that speaks against them, or a doubt above 0.5. A
/// sentence; empty if there is no reason.
[[nodiscard]] std::string reason_to_look(const ImageRecord& record);

/// The images that were not refused, by falling gravity of their statuses, then by falling doubt, then by rising
/// contrast across the outline. Images that are equal in all of these keep their order.
[[nodiscard]] std::vector<const ImageRecord*> in_order_of_doubt(const std::vector<ImageRecord>& records);

}  // namespace Norvane::Host
