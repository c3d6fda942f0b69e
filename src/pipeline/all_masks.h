// SPDX-License-Identifier: Apache-2.0
/// Makes all masks of one image with one search for its breast and one for its muscle.
#pragma once

#include <norvane/norvane.h>

#include "pipeline/masking_state.h"

namespace Norvane {

/// See NvGenerateAllMasks(). Its plain definition is make_one_by_one() in all_masks.cpp, one operation after another.
void make_all_masks(Image* image, const MaskingState& asked, AllMasks& masks);

}  // namespace Norvane
