// SPDX-License-Identifier: Apache-2.0
#include "pipeline/breast.h"

#include "checks/quality_checks.h"
#include "contour/contour_search.h"
#include "contour/contour_to_mask.h"
#include "contour/polar_origin.h"
#include "imaging/mask_utils.h"
#include "levels/tissue_thresholds.h"
#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/working_image.h"
#include "pipeline/field_mask.h"
#include "wall/chest_wall_patch.h"

#include <algorithm>
#include <iostream>
#include <utility>
#include <vector>

namespace Norvane {
namespace {

/// Finds the field, if `frame` does not hold it yet, and the noise level. Returns the histogram, if one was counted.
std::optional<GreyHistogram> settle_field(Image* image, MaskingState& state, Mask* frame) {
    std::optional<GreyHistogram> histogram;
    if (MaskReader::is_empty(*frame)) {
        state.settings = with_noise_class(state.settings, state.params);
        FieldOutcome field = find_field(image, state, frame, true);
        state = field.outcome.state;
        histogram = std::move(field.histogram);
    }
    if (auto counted = settle_noise_level(image, state)) histogram = std::move(counted);
    return histogram;
}

/// Finds the grey levels of tissue from the histogram, which may be known already.
void settle_thresholds(Image* image, const std::optional<GreyHistogram>& known, MaskingState& state) {
    const auto counted = known ? std::nullopt : grey_histogram(image, kTissueParts);
    const GreyHistogram none(kTissueParts);
    const GreyHistogram& histogram = known ? *known : (counted ? *counted : none);
    const TissueThresholds found = tissue_thresholds(in_parts(histogram, kTissueParts), state.settings.noise_level,
                                                     state.settings.threshold_scale);
    state.contour = found.in(*state.contour);
    if (found.is_low_contrast) state.settings.raises_near_wall = false;
}

/// Finds the outline of the breast in the image to which the thresholds apply.
Outlines find_outlines(const Image& image, const Image& thresholded, Mask& frame, const MaskingState& state) {
    if (!SearchImages::fit(&image, &thresholded)) return {};
    frame.SetTargetPixelSize(image.GetPixelSize());
    const SearchImages images(image, thresholded);
    const SearchRules rules{state.params, state.settings, *state.contour};
    return state.params.maskingSpeed ? contour_near_tissue(images, frame, rules, {})
                                     : contour_of_all_pixels(images, frame, rules, state.params.fullContour);
}

/// Adds the contour to `out`, by polygon or pixel by pixel.
double write_contour(const std::vector<float>& radii, const MaskingState& state, const Image& image, const Mask& frame,
                     bool by_polygon, Mask& out) {
    if (by_polygon) return write_polygon_or_points(radii, state, image, &out);
    return write_pixels_inside({radii, *state.contour, state.params.side, image}, frame, out);
}

/// Writes both contours into their masks and cuts them to the field. Returns the area of the first before the cut.
double write_masks(const Outlines& outlines, const Image& image, const MaskingState& state, const BreastMasks& masks) {
    const Masking::Params& params = state.params;
    const bool joins_muscle = params.view == VIEW_PECT && params.pectContour;
    masks.breast->Clear();
    masks.breast->SetPixelSize(image.GetPixelSize());
    Mask written;
    written.SetPixelSize(image.GetPixelSize());
    const double area =
        write_contour(outlines.radii, state, image, *masks.frame, params.maskingSpeed && !joins_muscle, written);
    if (!params.contourOutput || joins_muscle) Utils::MaskIntersect(&written, masks.frame, masks.breast);

    if (masks.second == nullptr || params.contourOutput) return area;
    masks.second->Clear();
    if (params.singleContour) return area;
    masks.second->SetPixelSize(image.GetPixelSize());
    written.Clear();
    written.SetPixelSize(image.GetPixelSize());
    write_contour(outlines.outer, state, image, *masks.frame, params.maskingSpeed, written);
    Utils::MaskIntersect(&written, masks.frame, masks.second);
    return area;
}

}  // namespace

double write_polygon_or_points(const std::vector<float>& radii, const MaskingState& state, const Image& image,
                               Mask* out) {
    const PlacedContour contour{radii, *state.contour, state.params.side, image};
    if (!state.params.contourOutput) return out == nullptr ? 1.0 : write_polygon(contour, *out);
    if (state.params.contour == nullptr) return 0.0;
    const std::vector<int> points = points_of(contour);
    if (state.params.contour->size() == points.size())
        std::ranges::copy(points, state.params.contour->begin());  // the host's vector must not be reallocated
    else
        state.params.contour->clear();
    return 0.0;
}

Outcome find_breast(Image* image, MaskingState state, const BreastMasks& masks) {
    if (masks.breast == nullptr || masks.frame == nullptr) {
        std::cout << "(from generateMask) Initialize TSO.Mask object first!" << std::endl;
        return {Masking::MASK_NO_MASK, state};
    }
    if (state.params.side == SIDE_UNDEFINED) return {Masking::MASK_NO_SIDE, state};
    if (image != nullptr && is_off_working_pixel_size(image->GetPixelSize()))
        return {Masking::MASK_BAD_PIXEL_SIZE, state};
    if (!is_usable(image)) return {Masking::MASK_NO_IMAGE, state};

    const auto histogram = settle_field(image, state, masks.frame);
    state.contour = with_polar_origin({}, *image, masks.frame, state.params.side);
    if (!has_wall(state.params.side)) return {Masking::MASK_NO_SIDE, state};
    settle_thresholds(image, histogram, state);

    const NoiseClass& rules = rules_of(state.params.bgNoise);
    Image patched;
    double raised = 0.0;  // fraction of the region at the chest wall
    if (!rules.has_padding) {
        patched.MatchTo(image, true);
        raised =
            write_thresholded(*image, masks.frame, state.params, state.settings, state.contour->centreColumn, &patched);
    }
    const bool is_patched_much = raised > state.settings.largest_patch;
    if (is_patched_much && !rules.accepts_large_patch) state.settings.noise_level = Masking::c_loadCutLevel + 1;

    const Outlines outlines = find_outlines(*image, rules.has_padding ? *image : patched, *masks.frame, state);
    const double area = write_masks(outlines, *image, state, masks);
    Masking::MASK_STATUS status = Masking::MASK_OK;
    if (is_patched_much)
        status = Masking::MASK_CHEST_WALL;
    else if (!state.params.contourOutput)
        status = check_shape(*image, *masks.breast, area);
    return {status, state};
}

MaskingState with_thresholds(Image* image, MaskingState state) {
    settle_thresholds(image, std::nullopt, state);
    return state;
}

MaskingState show_thresholded(Image* image, MaskingState state, Image* thresholded) {
    if (!is_usable(image)) return state;
    Mask field, *frame = &field;
    state = find_field(image, state, frame, false).outcome.state;
    state.contour = with_polar_origin({}, *image, frame, state.params.side);
    state = with_thresholds(image, state);
    write_thresholded(*image, frame, state.params, state.settings, state.contour->centreColumn, thresholded);
    return state;
}

}  // namespace Norvane
