// SPDX-License-Identifier: Apache-2.0
#include "findings/library_masks.h"

#include <norvane/norvane.h>

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

FoundMask found(const Mask& mask, Masking::MASK_STATUS status) { return {Region(mask), status}; }

std::vector<int> room_for_contour() {
    return std::vector<int>(2 * static_cast<std::size_t>(Masking::GetSizeForContour()), -1);
}

// In a view with muscle, and if padding values are traced, the outline comes with the masks.
bool comes_with_masks(const MasksRequest& request) {
    return request.view == VIEW_PECT || request.noise == BG_GIVEN_LEVEL;
}

// Without muscle, the points are the vertices of the fast polygon writer, because no other one gives points.
Masking::MASK_STATUS make_fast_outline(Image* image, Masking::Params params, Mask& frame) {
    params.maskingSpeed = true;
    Mask unused;
    return NvGenerateBreastMask(image, params, &frame, &unused, nullptr);
}

const char* source_of_contour(const MasksRequest& request) {
    if (request.noise == BG_GIVEN_LEVEL) return "border of the padding values";
    return request.view == VIEW_PECT ? "border of breast and upper muscle" : "outline of the fast search";
}

}  // namespace

FoundMask run_breast(PreparedImage& prepared, const MasksRequest& request) {
    const Masking::Params params = params_of(prepared, request);
    Mask frame, breast, *frame_of_host = &frame;  // if this were null, the call would make one
    (void)NvGenerateFrameMask(prepared.image.get(), params, frame_of_host);
    const auto status = NvGenerateBreastMask(prepared.image.get(), params, &frame, &breast, nullptr);
    return found(breast, status);
}

FoundMasks run_masks(PreparedImage& prepared, const MasksRequest& request) {
    Image* image = prepared.image.get();
    Masking::Params params = params_of(prepared, request);
    std::vector<int> points = room_for_contour();
    params.contour = &points;
    params.pectContour = request.view == VIEW_PECT;
    params.contourOutput = request.wants_contour && comes_with_masks(request);
    AllMasks masks;
    NvGenerateAllMasks(image, params, masks);
    if (request.wants_contour && !comes_with_masks(request)) {
        params.contourOutput = true;
        masks.contourStatus = make_fast_outline(image, params, masks.frame);
    }
    if (masks.pectStatus != Masking::MASK_OK) masks.pect.Clear();
    FoundMasks result;
    result.frame = found(masks.frame, masks.frameStatus);
    result.full = found(masks.full, masks.fullStatus);
    result.breast = found(masks.breast, masks.breastStatus);
    result.pectoral = found(masks.pect, masks.pectStatus);
    result.outer = Region(masks.outer);
    if (request.wants_contour) {
        if (!points.empty() && points.front() < 0) points.clear();  // nothing was written
        result.contour = {std::move(points), masks.contourStatus, source_of_contour(request)};
    }
    return result;
}

}  // namespace Norvane::Host
