// SPDX-License-Identifier: Apache-2.0
/// The operations of Masking: each stores the parameters, calls the pipeline, and writes its state back.
#include <norvane/masking.h>

#include "interface/masking_members.h"
#include "model/working_image.h"
#include "pipeline/breast.h"
#include "pipeline/contour_points.h"
#include "pipeline/field_mask.h"
#include "pipeline/full_mask.h"
#include "pipeline/muscle.h"

namespace Norvane {

Masking::MASK_STATUS Masking::GenerateFrameMask(Image* image, Params callParams, Mask*& frame, bool autoLevel) {
    update_params(callParams);
    return MaskingMembers::commit(find_field(image, MaskingMembers::state_of(*this), frame, autoLevel).outcome, *this);
}

Masking::MASK_STATUS Masking::GenerateBreastMask(Image* image, Params callParams, Mask*& breast, Mask* frame,
                                                 int* frameBox) {
    update_params(callParams);
    return MaskingMembers::commit(make_breast_mask(image, MaskingMembers::state_of(*this), breast, frame, frameBox),
                                  *this);
}

Masking::MASK_STATUS Masking::GenerateFullMask(Image* image, Params callParams, Mask*& full, Mask*& pect, Mask*& second,
                                               Mask* frame) {
    update_params(callParams);
    return MaskingMembers::commit(make_full_mask(image, MaskingMembers::state_of(*this), {full, pect, second, frame}),
                                  *this);
}

Masking::MASK_STATUS Masking::GeneratePectMask(Image* image, Mask* breast, Params callParams, Mask* pect, Mask* frame) {
    update_params(callParams);
    return MaskingMembers::commit(make_muscle_mask(image, breast, MaskingMembers::state_of(*this), pect, frame), *this);
}

void Masking::ChestWallPatch(Image* image, Params callParams, Image*& patched) {
    update_params(callParams);
    MaskingMembers::write(show_thresholded(image, MaskingMembers::state_of(*this), patched), *this);
}

Masking::MASK_STATUS Masking::generate_internal(Image* image, Mask*& frame, Mask*& breast, Mask*& second) {
    return MaskingMembers::commit(find_breast(image, MaskingMembers::state_of(*this), {frame, breast, second}), *this);
}

bool Masking::generate_full_mask(Mask* breast, Mask* pect, Mask*& out) { return join_masks(breast, pect, out); }

Masking::MASK_STATUS Masking::breast_masking_by_boundary_tracing(Image* image, Mask*& breast, int* box) {
    if (!is_usable(image) || breast == nullptr) return MASK_BOUNDARY_TRACING;
    breast->SetPixelSize(image->GetPixelSize());
    write_bounds(trace_breast(*image, params), box);
    return MASK_BOUNDARY_TRACING;
}

bool Masking::convert_mask_to_boundary(Image* image, Mask* mask, std::vector<int>& points) {
    if (is_usable(image) && mask != nullptr) params = without_padding(params);
    return append_boundary(image, mask, params.side, points);
}

}  // namespace Norvane
