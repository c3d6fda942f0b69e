// SPDX-License-Identifier: Apache-2.0
#include "pipeline/all_masks.h"

#include "imaging/mask_utils.h"
#include "model/mask_reader.h"
#include "pipeline/breast.h"
#include "pipeline/contour_points.h"
#include "pipeline/field_mask.h"
#include "pipeline/full_mask.h"
#include "pipeline/muscle.h"

namespace Norvane {
namespace {

/// The state for a call that gives masks, the outer contour among them, and no points.
MaskingState for_masks(MaskingState state) {
    state.params.fullContour = true;
    state.params.singleContour = state.params.contourOutput = state.params.pectContour = false;
    return state;
}

/// The contour as the call for the breast gives it, with a search of its own.
void search_contour(Image* image, const MaskingState& state, AllMasks& masks) {
    Mask unused;
    masks.contourStatus = make_breast_mask(image, state, &unused, &masks.frame, nullptr).status;
}

/// The breast by a call of its own. With BG_GIVEN_LEVEL, the call for the breast would write no mask; that for the full
/// mask without muscle does.
Masking::MASK_STATUS search_breast(Image* image, MaskingState state, AllMasks& masks) {
    if (rules_of(state.params.bgNoise).is_traced) state.params.view = VIEW_NO_PECT;
    return breast_status(state, find_breast(image, state, {&masks.frame, &masks.breast, nullptr}).status);
}

/// The masks by one call after another.
void make_one_by_one(Image* image, const MaskingState& asked, AllMasks& masks) {
    const MaskingState state = for_masks(asked);
    Mask unused, *full = &masks.full, *muscle = &unused, *outer = &masks.outer;
    masks.fullStatus = make_full_mask(image, state, {full, muscle, outer, &masks.frame}).status;
    masks.breastStatus = search_breast(image, state, masks);
    masks.pectStatus = make_muscle_mask(image, &masks.breast, state, &masks.pect, &masks.frame).status;
    if (asked.params.contourOutput) search_contour(image, asked, masks);
}

/// Whether the contour outlines masks that are known. The fast search outlines a polygon.
bool outlines_masks(const Masking::Params& params) {
    return params.view == VIEW_PECT && params.pectContour && !params.maskingSpeed;
}

/// Fills the full mask from a breast and its muscle, as make_full_mask() does.
Masking::MASK_STATUS fill_full_mask(const Image* image, const Outcome& breast, PectDetect::PECT_STATUS muscle_found,
                                    AllMasks& masks) {
    Mask *full = &masks.full, *muscle = &masks.pect, *outer = &masks.outer;
    const FullMasks parts{full, muscle, outer, &masks.frame};
    Masking::MASK_STATUS status = breast.status;
    if (breast.state.params.view == VIEW_PECT && has_masks(status)) {
        status = add_muscle(muscle_found, masks.breast, masks.pect, parts, status);
    } else {
        Utils::MaskCopy(&masks.breast, full);
    }
    return check_full_mask(image, breast.state, parts, status);
}

}  // namespace

void make_all_masks(Image* image, const MaskingState& asked, AllMasks& masks) {
    masks = {};
    Mask* frame = &masks.frame;
    masks.frameStatus = find_field(image, asked, frame, true).outcome.status;
    if (MaskReader::is_empty(masks.frame) || rules_of(asked.params.bgNoise).is_traced) {
        make_one_by_one(image, asked, masks);
        return;
    }
    Outcome breast = find_breast(image, for_masks(asked), {&masks.frame, &masks.breast, &masks.outer});
    const auto muscle_found = seek_muscle(image, &masks.breast, &masks.frame, breast.state.params, &masks.pect);
    masks.pectStatus = mask_status(muscle_found);
    masks.fullStatus = fill_full_mask(image, breast, muscle_found, masks);
    masks.breastStatus = breast_status(breast.state, breast.status);
    if (!asked.params.contourOutput) return;
    if (!outlines_masks(asked.params)) {
        search_contour(image, asked, masks);
        return;
    }
    const bool failed_shape = breast.status == Masking::MASK_TOO_SMALL || breast.status == Masking::MASK_BAD_SHAPE;
    const auto found = failed_shape ? Masking::MASK_OK : breast.status;
    Mask* muscle = has_masks(found) && found_muscle(muscle_found) ? &masks.pect : nullptr;
    breast.state.params = asked.params;
    masks.contourStatus = give_joined_outline(image, breast.state, &masks.breast, muscle, found);
}

}  // namespace Norvane
