// SPDX-License-Identifier: Apache-2.0
/// The exported functions. Each makes a Masking for one call. The pointers of the host are never replaced: if a member
/// may replace one, it gets the function's own copy.
#include <norvane/norvane.h>

#include "interface/masking_members.h"
#include "pipeline/all_masks.h"
#include "preparation/prepare_image.h"
#include "rules/noise_class.h"

namespace Norvane {

Image* PrepareImage(Image* image, float& scale, BG_NOISE bgNoise, bool resampleFirst,
                    Image* (*resampler)(Image*, float&), unsigned short* paddingValue,
                    unsigned short* paddingRangeLimit) {
    return prepared_image(image, scale,
                          {.darkest = rules_of(bgNoise).darkest,
                           .resample_first = resampleFirst,
                           .resampler = resampler,
                           .padding_value = paddingValue,
                           .padding_range_limit = paddingRangeLimit})
        .release();
}

Masking::MASK_STATUS NvGenerateFrameMask(Image* image, Masking::Params params, Mask*& frame) {
    Masking masking;
    Mask* own_frame = frame;
    return masking.GenerateFrameMask(image, params, own_frame, true);
}

Masking::MASK_STATUS NvGenerateBreastMask(Image* image, Masking::Params params, Mask* frame, Mask* breast,
                                          int* frameBox) {
    Masking masking;
    return masking.GenerateBreastMask(image, params, breast, frame, frameBox);
}

Masking::MASK_STATUS NvGenerateFullMask(Image* image, Masking::Params params, Mask* frame, Mask* full, Mask* pect,
                                        Mask* second) {
    Masking masking;
    return masking.GenerateFullMask(image, params, full, pect, second, frame);
}

Masking::MASK_STATUS NvGeneratePectMask(Image* image, Masking::Params params, Mask* frame, Mask* breast, Mask* pect) {
    Masking masking;
    return masking.GeneratePectMask(image, breast, params, pect, frame);
}

void NvGenerateAllMasks(Image* image, Masking::Params params, AllMasks& masks) {
    MaskingState state = MaskingMembers::state_of(Masking());
    state.params = params;
    state.settings = with_noise_class(state.settings, params);
    make_all_masks(image, state, masks);
}

}  // namespace Norvane
