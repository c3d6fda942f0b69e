// SPDX-License-Identifier: Apache-2.0
/// All masks of one prepared image.
#pragma once

#include "findings/host_image.h"
#include "findings/refined_muscle.h"
#include "findings/region.h"

#include <norvane/masking.h>

#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

struct MasksRequest {
    IMAGE_SIDE side = SIDE_UNDEFINED;
    IMAGE_VIEW view = VIEW_UNDEFINED;
    BG_NOISE noise = BG_AUTO_COARSE;
    bool is_fast = false;
    bool wants_contour = false;
};

struct FoundMask {
    Region region;
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;
};

struct FoundContour {
    std::vector<int> points;  ///< x, y, x, y ... of the working grid; empty if no outline could be traced
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;
    std::string source;  ///< says how the points were made
};

struct FoundMasks {
    FoundMask frame;
    FoundMask breast;    ///< without the pixels that the muscle adds
    FoundMask pectoral;  ///< empty unless its status is MASK_OK
    FoundMask full;      ///< breast and upper muscle; its status is that of the image
    Region outer;        ///< the region inside the outer contour; it has no status of its own
    std::optional<FoundContour> contour;

    RefinedMuscle refined;  ///< the muscle with a curved border
    Region refined_full;    ///< breast and refined muscle
    MuscleBorderChoice choice = MuscleBorderChoice::kExact;

    /// The muscle that results take.
    [[nodiscard]] const Region& muscle() const {
        return choice == MuscleBorderChoice::kExact ? pectoral.region : refined.region;
    }
    /// Breast and muscle joined, as results take them.
    [[nodiscard]] const Region& joined() const {
        return choice == MuscleBorderChoice::kExact ? full.region : refined_full;
    }
};

/// Makes only the breast mask.
[[nodiscard]] FoundMask run_breast(PreparedImage& prepared, const MasksRequest& request);

/// Makes all masks. A status that is not MASK_OK is a result too; nothing is refused here.
[[nodiscard]] FoundMasks run_masks(PreparedImage& prepared, const MasksRequest& request);

}  // namespace Norvane::Host
