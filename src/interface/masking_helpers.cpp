// SPDX-License-Identifier: Apache-2.0
/// The protected helpers of Masking: each passes its arguments and the members to one rule and stores the result.
#include <norvane/masking.h>

#include "checks/quality_checks.h"
#include "contour/boundary_tracing.h"
#include "contour/contour_file.h"
#include "contour/contour_search.h"
#include "contour/contour_smoothing.h"
#include "contour/contour_to_mask.h"
#include "contour/polar_origin.h"
#include "field/padding_bounds.h"
#include "interface/masking_members.h"
#include "levels/noise_level.h"
#include "levels/tissue_thresholds.h"
#include "model/grey_statistics.h"
#include "model/mask_reader.h"
#include "model/working_image.h"
#include "muscle/muscle_estimate.h"
#include "pipeline/breast.h"
#include "pipeline/contour_points.h"
#include "wall/chest_wall_patch.h"

#include <span>
#include <utility>

namespace Norvane {

// The field

void Masking::framemasking_for_pixel_padding_images(Image* image, int* bounds) {
    write_bounds(padding_bounds(image, params.side, padding_levels(params)), bounds);
}

void Masking::framemasking_for_binary_image(Image* image, int* bounds) { write_bounds(content_bounds(image), bounds); }

// Noise level and thresholds

int Masking::auto_calc_noise_level(Image* image) {
    return automatic_level(image, rules_of(params.bgNoise)).noise_level;
}

// NOLINTNEXTLINE(readability-non-const-parameter): derived classes call it with this signature
unsigned short Masking::find_tissue_mean(Image* /*image*/, int* histogram, int bins) {
    if (histogram == nullptr || bins < 1 || bins > kGreyLevels) return 0;
    return tissue_mean_of(std::span(histogram, static_cast<std::size_t>(bins)), backgroundNoiseLevel);
}

void Masking::extract_thresholds(Image* image) {
    if (contourState == nullptr) return;
    MaskingMembers::write(with_thresholds(image, MaskingMembers::state_of(*this)), *this);
}

// The polar contour

Masking::MASK_STATUS Masking::find_polar_center(Image* image, Mask* frame) {
    if (image == nullptr || contourState == nullptr) return MASK_NO_IMAGE;
    *contourState = with_polar_origin(*contourState, *image, frame, params.side);
    return has_wall(params.side) ? MASK_OK : MASK_NO_SIDE;
}

std::vector<float> Masking::find_polar_contour(Image* grey, Image* search, Mask* frame) {
    if (!SearchImages::fit(grey, search) || frame == nullptr || contourState == nullptr) return {};
    const Settings settings = MaskingMembers::settings_of(*this);
    return contour_along_rays({*grey, *search}, *frame, {params, settings, *contourState});
}

std::vector<float> Masking::find_contour_border(Image* grey, Image* search, Mask* frame, std::vector<float>& outer,
                                                bool fullContour) {
    if (!SearchImages::fit(grey, search) || frame == nullptr || contourState == nullptr) return {};
    frame->SetTargetPixelSize(grey->GetPixelSize());
    const Settings settings = MaskingMembers::settings_of(*this);
    Outlines found = contour_of_all_pixels({*grey, *search}, *frame, {params, settings, *contourState}, fullContour);
    outer = std::move(found.outer);
    return std::move(found.radii);
}

std::vector<float> Masking::find_contour_border_opt(Image* grey, Image* search, Mask* frame,
                                                    std::vector<float>& outer) {
    if (!SearchImages::fit(grey, search) || frame == nullptr || contourState == nullptr) return {};
    frame->SetTargetPixelSize(grey->GetPixelSize());
    const Settings settings = MaskingMembers::settings_of(*this);
    Outlines found = contour_near_tissue({*grey, *search}, *frame, {params, settings, *contourState}, std::move(outer));
    outer = std::move(found.outer);
    return std::move(found.radii);
}

void Masking::fill_in_contour_gap(std::vector<float>& c) { fill_contour_gaps(c, params.view); }

void Masking::smooth_contour(std::vector<float>& c, std::vector<float>& outer, int window) {
    smooth_outline(
        c, outer,
        {.window = window, .has_padding = rules_of(params.bgNoise).has_padding, .outer_offset = params.contourOffset});
}

bool Masking::smooth_contour_mean(std::vector<float>& in, std::vector<float>& out, int window) {
    return running_mean(in, out, window);
}

void Masking::smooth_line(std::vector<float>& v, int half) { smooth_muscle_ends(v, half); }

double Masking::write_half_contour_to_mask(std::vector<float>& contour, Mask* out, Mask* frame, Image* image) {
    if (out == nullptr || frame == nullptr || image == nullptr || contourState == nullptr) return 1.0;
    return write_pixels_inside({contour, *contourState, params.side, *image}, *frame, *out);
}

double Masking::write_half_contour_to_mask_opt(std::vector<float>& contour, Mask* out, Mask* /*frame*/, Image* image) {
    if (image == nullptr || contourState == nullptr) return params.contourOutput ? 0.0 : 1.0;
    return write_polygon_or_points(contour, MaskingMembers::state_of(*this), *image, out);
}

// Boundary tracing

void Masking::boundary_tracing(Image* image, int* box, std::vector<int>& points) {
    if (!is_usable(image) || box == nullptr || points.size() < 2 || !has_wall(params.side)) return;
    trace_boundary({*image, {{box[0], box[1]}, {box[2], box[3]}}, padding_levels(params), params.side}, points);
}

void Masking::save_contour_to_file(std::string fileName, Image* image, Mask* mask) {
    if (image != nullptr) save_outline(fileName, *image, mask, params.contour);
}

// Pectoral muscle and chest wall

Mask* Masking::generate_pect(Image* image, Mask*& limitMask, Mask*& rowMask) {
    if (params.view == VIEW_NO_PECT || !is_usable(image) || limitMask == nullptr || rowMask == nullptr) return nullptr;
    if (contourState == nullptr || MaskReader::is_empty(*rowMask)) return nullptr;
    return estimated_muscle(
               *image, *limitMask, *rowMask,
               {.side = params.side, .threshold = contourState->tissueThreshold, .last_row = contourState->centreRow})
        .release();
}

double Masking::patch_chestwall(Image* image, Mask* frame, Image*& patched) {
    if (!is_usable(image)) return 0.0;
    const int centre = contourState == nullptr ? 0 : contourState->centreColumn;
    return write_thresholded(*image, frame, params, MaskingMembers::settings_of(*this), centre, patched);
}

// Quality of a full mask

Masking::MASK_STATUS Masking::check_bg_noise(Image* image, Mask*& breast, Mask*& frame) {
    return check_background(image, breast, frame, params.side, backgroundNoiseLevel);
}

Masking::MASK_STATUS Masking::check_cut_tissue(Image* image, Mask*& breast, Mask*& frame) {
    return check_for_cut_tissue(image, breast, frame, params, backgroundNoiseLevel);
}

}  // namespace Norvane
