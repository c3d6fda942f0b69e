// SPDX-License-Identifier: Apache-2.0
/// All masks of one prepared image.
#pragma once

#include "findings/host_image.h"

#include <norvane/mask.h>
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

struct MaskResult {
    Mask mask;
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;
};

struct ContourResult {
    std::vector<int> points;  ///< x, y, x, y ... of the working grid; empty where no outline could be traced
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;
    std::string source;  ///< how the points were made
};

struct MasksResult {
    MaskResult frame;
    MaskResult breast;    ///< without what the muscle adds
    MaskResult pectoral;  ///< empty unless its status is MASK_OK
    MaskResult full;      ///< breast and upper muscle; its status is the verdict on the image
    Mask outer;           ///< the region inside the outer contour; no status of its own
    std::optional<ContourResult> contour;
};

/// Makes the breast mask alone.
[[nodiscard]] MaskResult run_breast(PreparedImage& prepared, const MasksRequest& request);

/// Makes the masks. Statuses are results; nothing is refused here.
[[nodiscard]] MasksResult run_masks(PreparedImage& prepared, const MasksRequest& request);

}  // namespace Norvane::Host
