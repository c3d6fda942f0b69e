// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_search.h"

#include "imaging/mask_utils.h"
#include "model/scratch.h"
#include "model/working_image.h"
#include "muscle/muscle_contrast.h"
#include "muscle/muscle_edges.h"
#include "muscle/muscle_line.h"
#include "muscle/muscle_region.h"

namespace Norvane {

using PECT_STATUS = PectDetect::PECT_STATUS;

PECT_STATUS refuse_muscle_search(const Image* image, const Mask* breast, const Mask* frame, IMAGE_SIDE side,
                                 IMAGE_VIEW view) {
    if (view == VIEW_NO_PECT) return PectDetect::PECT_NOT_APPLICABLE;
    if (side == SIDE_UNDEFINED) return PectDetect::PECT_NO_SIDE;
    if (image == nullptr) return PectDetect::PECT_NO_IMAGE;
    if (is_off_working_pixel_size(image->GetPixelSize())) return PectDetect::PECT_BAD_PIXEL_SIZE;
    if (cannot_be_searched(breast) || cannot_be_searched(frame)) return PectDetect::PECT_BAD_MASK;
    return is_usable(image) ? PectDetect::PECT_PASS : PectDetect::PECT_NO_IMAGE;
}

PECT_STATUS find_muscle_in(const Image* image, Mask* bound, const MuscleSearch& search, Mask* muscle) {
    if (image == nullptr || bound == nullptr || muscle == nullptr) return PectDetect::PECT_BAD_MASK;
    const MuscleRegion region = muscle_region(image, bound, search.side, search.height_ratio);
    if (!region.is_filled) return PectDetect::PECT_BAD_MASK;

    const auto edges = muscle_edges(region.image.get(), bound, muscle_edge_limits(search.side));
    if (edges == nullptr) return PectDetect::PECT_NOT_FOUND;
    const auto line = muscle_border(edges.get(), search.side);
    if (!line) return PectDetect::PECT_NOT_FOUND;

    const PlacedLine placed{*line, static_cast<int>(region.image->GetOffX() - image->GetOffX()),
                            static_cast<int>(region.image->GetOffY() - image->GetOffY())};
    PECT_STATUS status = verify_by_strips(image, placed, search.side);
    if (status == PectDetect::PECT_FAIL || status == PectDetect::PECT_WEAK)
        status = verify_by_pairs(image, placed, search.side);
    write_muscle(*image, *bound, placed, search.side, *muscle);
    return status;
}

PECT_STATUS find_muscle(const Image& image, Mask& breast, Mask& frame, const MuscleSearch& search, Mask* muscle) {
    const auto bound = bound_mask(&breast, &frame, search.side);
    Mask region;
    const PECT_STATUS status = find_muscle_in(&image, bound.get(), search, &region);
    Utils::MaskIntersect(&region, &frame, muscle);
    return status;
}

}  // namespace Norvane
