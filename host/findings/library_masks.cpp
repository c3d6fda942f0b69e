// SPDX-License-Identifier: Apache-2.0
#include "findings/library_masks.h"

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

/// The library's masks of one image while they are made. Each call uses the masks of the calls before it.
struct LibraryMasks {
    Mask frame, full, outer, breast, pectoral;
};

Masking::MASK_STATUS make_frame(Image* image, const Masking::Params& params, LibraryMasks& masks) {
    Mask* frame = &masks.frame;  // if this were null, the call would make one
    return NvGenerateFrameMask(image, params, frame);
}

FoundMask found(const Mask& mask, Masking::MASK_STATUS status) { return {Region(mask), status}; }

// The outer contour must be asked for, because the cut-tissue check looks at its mask, which would be empty otherwise.
Masking::MASK_STATUS make_full(Image* image, Masking::Params params, LibraryMasks& masks) {
    params.fullContour = true;
    Mask muscle;
    return NvGenerateFullMask(image, params, &masks.frame, &masks.full, &muscle, &masks.outer);
}

// With a given level, the call for the breast traces padding values and leaves its mask empty. In a view without
// muscle, the full mask is the breast, for every class.
Masking::MASK_STATUS make_breast(Image* image, Masking::Params params, LibraryMasks& masks) {
    if (params.bgNoise == BG_GIVEN_LEVEL) {
        params.view = VIEW_NO_PECT;
        params.checkCutTissue = false;
        return NvGenerateFullMask(image, params, &masks.frame, &masks.breast, nullptr, nullptr);
    }
    std::array<int, 4> frame_box{};
    return NvGenerateBreastMask(image, params, &masks.frame, &masks.breast, frame_box.data());
}

// The status of the full mask does not tell whether a muscle was found or rejected, so a separate call is needed.
Masking::MASK_STATUS make_pectoral(Image* image, const Masking::Params& params, LibraryMasks& masks) {
    const auto status = NvGeneratePectMask(image, params, &masks.frame, &masks.breast, &masks.pectoral);
    if (status != Masking::MASK_OK) masks.pectoral.Clear();
    return status;
}

// In a view with muscle, the outline of the joined mask is traced. Without muscle, the points are the vertices of the
// fast polygon writer, because no other one gives points.
FoundContour make_contour(Image* image, Masking::Params params, LibraryMasks& masks) {
    FoundContour contour;
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
    contour.status = NvGenerateBreastMask(image, params, &masks.frame, &unused, frame_box.data());
    if (!contour.points.empty() && contour.points.front() < 0) contour.points.clear();  // nothing was written
    return contour;
}

}  // namespace

FoundMask run_breast(PreparedImage& prepared, const MasksRequest& request) {
    const Masking::Params params = params_of(prepared, request);
    LibraryMasks masks;
    (void)make_frame(prepared.image.get(), params, masks);
    const auto status = make_breast(prepared.image.get(), params, masks);
    return found(masks.breast, status);
}

FoundMasks run_masks(PreparedImage& prepared, const MasksRequest& request) {
    Image* image = prepared.image.get();
    const Masking::Params params = params_of(prepared, request);
    LibraryMasks masks;
    const auto frame = make_frame(image, params, masks);
    const auto full = make_full(image, params, masks);
    const auto breast = make_breast(image, params, masks);
    const auto pectoral = make_pectoral(image, params, masks);
    FoundMasks result;
    if (request.wants_contour) result.contour = make_contour(image, params, masks);
    result.frame = found(masks.frame, frame);
    result.full = found(masks.full, full);
    result.breast = found(masks.breast, breast);
    result.pectoral = found(masks.pectoral, pectoral);
    result.outer = Region(masks.outer);
    return result;
}

}  // namespace Norvane::Host
