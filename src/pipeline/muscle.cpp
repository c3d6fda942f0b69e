// SPDX-License-Identifier: Apache-2.0
#include "pipeline/muscle.h"

#include "model/mask_reader.h"
#include "muscle/muscle_search.h"
#include "pipeline/field_mask.h"

namespace Norvane {

Masking::MASK_STATUS mask_status(PectDetect::PECT_STATUS status) {
    switch (status) {
        case PectDetect::PECT_PASS:
        case PectDetect::PECT_WEAK:
            return Masking::MASK_OK;
        case PectDetect::PECT_FAIL:
            return Masking::MASK_PECT_REJECTED;
        case PectDetect::PECT_NOT_APPLICABLE:
            return Masking::MASK_PECT_NOT_APPLICABLE;
        default:
            return Masking::MASK_PECT_FAILED;
    }
}

PectDetect::PECT_STATUS seek_muscle(Image* image, Mask* breast, Mask* frame, const Masking::Params& params,
                                    Mask* muscle) {
    const auto refusal = refuse_muscle_search(image, breast, frame, params.side, params.view);
    return refusal != PectDetect::PECT_PASS ? refusal
                                            : find_muscle(*image, *breast, *frame, {.side = params.side}, muscle);
}

Outcome make_muscle_mask(Image* image, Mask* breast, MaskingState state, Mask* muscle, Mask* frame) {
    Mask own_frame;
    if (frame == nullptr) frame = &own_frame;
    const Masking::Params asked = state.params;  // kept, because the search for the field may set the level
    if (MaskReader::is_empty(*frame)) {
        Outcome field = find_field(image, state, frame, true).outcome;
        if (field.status != Masking::MASK_OK) return {Masking::MASK_NO_MASK, field.state};
        state = field.state;
    }
    return {mask_status(seek_muscle(image, breast, frame, asked, muscle)), state};
}

}  // namespace Norvane
