// SPDX-License-Identifier: Apache-2.0
/// The whole search for the pectoral muscle, from masks to status.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/pect_detect.h>

namespace Norvane {

/// The settings of a search.
struct MuscleSearch {
    IMAGE_SIDE side;
    float height_ratio = PectDetect::C_ROIHEIGHTRATIO;  // searched part of the bound mask's height, from its top
};

/// PECT_PASS if the image and the masks can be searched; otherwise the first reason why not.
[[nodiscard]] PectDetect::PECT_STATUS refuse_muscle_search(const Image* image, const Mask* breast, const Mask* frame,
                                                           IMAGE_SIDE side, IMAGE_VIEW view);

/// Searches for the border inside `bound` and adds the muscle to `muscle`. After PECT_FAIL, it is the muscle of the
/// rejected line.
[[nodiscard]] PectDetect::PECT_STATUS find_muscle_in(const Image* image, Mask* bound, const MuscleSearch& search,
                                                     Mask* muscle);

/// Does a search that was not refused and adds the muscle, cut to the frame, to `muscle`. It does so with any status,
/// and the caller decides by the status whether to use a rejected muscle.
[[nodiscard]] PectDetect::PECT_STATUS find_muscle(const Image& image, Mask& breast, Mask& frame,
                                                  const MuscleSearch& search, Mask* muscle);

}  // namespace Norvane
