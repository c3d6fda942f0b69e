// SPDX-License-Identifier: Apache-2.0
#include "findings/masks_run.h"

#include <norvane/norvane.h>

#include <array>
#include <utility>

namespace Norvane::Host {
namespace {

Masking::Params params_of(const PreparedImage& prepared, const MasksRequest& request) {
    Masking::Params params;
    params.side = request.side;
    params.view = request.view;
    params.bgNoise = request.noise;
    params.noiseLevel = prepared.padding_high;
    params.pixelPaddingValueRangeLimit = prepared.padding_low;
    params.maskingSpeed = request.is_fast;
    return params;
}

// The second mask comes with the outer contour only: left empty it would be what the cut-tissue check looks at.
void run_full(Image* image, Masking::Params params, MasksResult& result) {
    params.fullContour = true;
    Mask muscle;
    result.full.status =
        NvGenerateFullMask(image, params, &result.frame.mask, &result.full.mask, &muscle, &result.outer);
}

// With a given level the breast call traces padding values and leaves its mask empty; the full mask of a view without
// muscle is the breast for every class.
void run_breast(Image* image, Masking::Params params, MasksResult& result) {
    if (params.bgNoise == BG_GIVEN_LEVEL) {
        params.view = VIEW_NO_PECT;
        params.checkCutTissue = false;
        result.breast.status =
            NvGenerateFullMask(image, params, &result.frame.mask, &result.breast.mask, nullptr, nullptr);
        return;
    }
    std::array<int, 4> frame_box{};
    result.breast.status =
        NvGenerateBreastMask(image, params, &result.frame.mask, &result.breast.mask, frame_box.data());
}

// The full mask's own status does not tell a muscle that was found from one that was rejected, so it is asked for.
void run_pectoral(Image* image, const Masking::Params& params, MasksResult& result) {
    result.pectoral.status =
        NvGeneratePectMask(image, params, &result.frame.mask, &result.breast.mask, &result.pectoral.mask);
    if (result.pectoral.status != Masking::MASK_OK) result.pectoral.mask.Clear();
}

// In a view with muscle the outline of the joined mask is traced. Without muscle the points are the vertices of the
// fast polygon writer, the only one that gives points.
ContourResult run_contour(Image* image, Masking::Params params, Mask& frame) {
    ContourResult contour;
    contour.points.assign(2 * static_cast<std::size_t>(Masking::GetSizeForContour()), -1);
    params.contourOutput = true;
    params.contour = &contour.points;
    params.pectContour = params.view == VIEW_PECT;
    if (params.bgNoise == BG_GIVEN_LEVEL) {
        contour.source = "border of the padding values";
    } else if (params.pectContour) {
        contour.source = "border of breast and upper muscle";
    } else {
        params.maskingSpeed = true;
        contour.source = "outline of the fast search";
    }
    Mask unused;
    std::array<int, 4> frame_box{};
    contour.status = NvGenerateBreastMask(image, params, &frame, &unused, frame_box.data());
    if (!contour.points.empty() && contour.points.front() < 0) contour.points.clear();  // nothing was written
    return contour;
}

}  // namespace

MaskResult run_breast(PreparedImage& prepared, const MasksRequest& request) {
    const Masking::Params params = params_of(prepared, request);
    MasksResult result;
    Mask* frame = &result.frame.mask;
    (void)NvGenerateFrameMask(prepared.image.get(), params, frame);
    run_breast(prepared.image.get(), params, result);
    return std::move(result.breast);
}

MasksResult run_masks(PreparedImage& prepared, const MasksRequest& request) {
    Image* image = prepared.image.get();
    const Masking::Params params = params_of(prepared, request);
    MasksResult result;
    Mask* frame = &result.frame.mask;
    result.frame.status = NvGenerateFrameMask(image, params, frame);
    run_full(image, params, result);
    run_breast(image, params, result);
    run_pectoral(image, params, result);
    if (request.wants_contour) result.contour = run_contour(image, params, result.frame.mask);
    return result;
}

}  // namespace Norvane::Host
