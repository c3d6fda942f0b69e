// SPDX-License-Identifier: Apache-2.0
/// The pectoral search from masks to status.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/pect_detect.h>

namespace Norvane {

/// What a search is given.
struct MuscleSearch {
    IMAGE_SIDE side;
    float height_ratio = PectDetect::C_ROIHEIGHTRATIO;  // of the bound mask's height, from its top down
};

/// PECT_PASS if the images and masks can be searched, else the first reason why not.
[[nodiscard]] PectDetect::PECT_STATUS refuse_muscle_search(const Image* image, const Mask* breast, const Mask* frame,
                                                           IMAGE_SIDE side, IMAGE_VIEW view);

/// Adds the muscle to `muscle`, whose border is sought inside `bound`. After PECT_FAIL it is that of the rejected line.
[[nodiscard]] PectDetect::PECT_STATUS find_muscle_in(const Image* image, Mask* bound, const MuscleSearch& search,
                                                     Mask* muscle);

/// The muscle of a search that was not refused, cut to the frame, added to `muscle` whatever the status: the caller
/// decides by it whether to use a rejected muscle.
[[nodiscard]] PectDetect::PECT_STATUS find_muscle(const Image& image, Mask& breast, Mask& frame,
                                                  const MuscleSearch& search, Mask* muscle);

}  // namespace Norvane
