// SPDX-License-Identifier: Apache-2.0
/// PectDetect: each member passes its arguments to one rule. The caller owns results that are returned by pointer.
#include <norvane/pect_detect.h>

#include "imaging/mask_utils.h"
#include "muscle/muscle_contrast.h"
#include "muscle/muscle_edges.h"
#include "muscle/muscle_line.h"
#include "muscle/muscle_region.h"
#include "muscle/muscle_search.h"

namespace Norvane {

PectDetect::PectDetect() = default;

void PectDetect::init() { *this = PectDetect(); }

PectDetect::PECT_STATUS PectDetect::PectSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side,
                                                    IMAGE_VIEW view, Mask* pect) {
    const PECT_STATUS refusal = refuse_muscle_search(image, breast, frame, side, view);
    if (refusal != PECT_PASS) return refusal;
    imageSide = side;
    return find_muscle(*image, *breast, *frame, {.side = side, .height_ratio = roiHeightRatio}, pect);
}

PectDetect::PECT_STATUS PectDetect::TissueSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side,
                                                      IMAGE_VIEW view, Mask* tissue) {
    Mask pect;
    const PECT_STATUS status = PectSegGenerate(image, breast, frame, side, view, &pect);
    Utils::MaskSubtract(breast, &pect, tissue);
    return status;
}

Mask* PectDetect::get_bound_mask(Mask* breast, Mask* frame, IMAGE_SIDE side) {
    return bound_mask(breast, frame, side).release();
}

PectDetect::PECT_STATUS PectDetect::get_pect_region(Image* image, Mask* bound, Mask* pect) {
    return find_muscle_in(image, bound, {.side = imageSide, .height_ratio = roiHeightRatio}, pect);
}

bool PectDetect::get_roi(Image* image, Mask* bound, IMAGE_SIDE side, Image*& roi) {
    MuscleRegion region = muscle_region(image, bound, side, roiHeightRatio);
    roi = region.image.release();
    return region.is_filled;
}

void PectDetect::get_kernel(int halfX, int halfY, float& sum, std::vector<float>& kernel) {
    sum = write_kernel(halfX, halfY, kernel);
}

unsigned short PectDetect::get_masked_bkg_threshold(Image* roi, Mask* mask, float fraction) {
    return background_threshold(roi, mask, fraction);
}

unsigned short PectDetect::get_upper_percent_grayvalue(Image* image, float fraction) {
    return brightest_level(image, fraction);
}

bool PectDetect::get_pect_edge(Image* roi, Image*& edge, Mask* mask, int margin, float edgeFraction, int minAngle,
                               int maxAngle) {
    edge = nullptr;
    edge =
        muscle_edges(roi, mask, {.margin = margin, .fraction = edgeFraction, .angles = {minAngle, maxAngle}}).release();
    return edge != nullptr;
}

bool PectDetect::get_edge(Image* roi, Mask* mask, IMAGE_SIDE side, Image*& edge) {
    edge = nullptr;
    edge = muscle_edges(roi, mask, muscle_edge_limits(side)).release();
    return edge != nullptr;
}

bool PectDetect::get_line(Image* edge, IMAGE_SIDE side, float& rho, float& theta) {
    const auto line = muscle_border(edge, side);
    if (!line) return false;
    rho = line->rho;
    theta = line->theta;
    return true;
}

bool PectDetect::hough_transform(Image* edge, float fromAngle, float toAngle, float& rho, float& theta,
                                 Image*& accumulator) {
    accumulator = nullptr;
    auto peak = strongest_line(edge, {fromAngle, toAngle});
    if (!peak) return false;
    rho = peak->line.rho;
    theta = peak->line.theta;
    accumulator = peak->accumulator.release();
    return true;
}

bool PectDetect::generate_pect_mask(Image* image, Mask* bound, Mask* pect, float& rho, float& theta, unsigned dx,
                                    unsigned dy) {
    if (image != nullptr && bound != nullptr && pect != nullptr)
        write_muscle(*image, *bound, {.line = {rho, theta}, .dx = dx, .dy = dy}, imageSide, *pect);
    return true;
}

PectDetect::PECT_STATUS PectDetect::verify_pect(Image* image, float rho, float theta, int dx, int dy, IMAGE_SIDE side) {
    return verify_by_strips(image, {.line = {rho, theta}, .dx = dx, .dy = dy}, side);
}

PectDetect::PECT_STATUS PectDetect::verify_pect_pairwise(Image* image, float rho, float theta, int dx, int dy,
                                                         IMAGE_SIDE side) {
    return verify_by_pairs(image, {.line = {rho, theta}, .dx = dx, .dy = dy}, side);
}

}  // namespace Norvane
