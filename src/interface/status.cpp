// SPDX-License-Identifier: Apache-2.0
/// The version of the library, and a sentence for each status.
#include <norvane/norvane.h>

#define NORVANE_TEXT_OF(number) #number
#define NORVANE_TEXT(number) NORVANE_TEXT_OF(number)

namespace Norvane {

const char* Version() {
    return NORVANE_TEXT(NORVANE_VERSION_MAJOR) "." NORVANE_TEXT(NORVANE_VERSION_MINOR) "." NORVANE_TEXT(
        NORVANE_VERSION_PATCH);
}

const char* StatusSentence(Masking::MASK_STATUS status) {
    switch (status) {
        case Masking::MASK_OK:
            return "The masks can be used.";
        case Masking::MASK_TOO_SMALL:
            return "The breast covers less than 1/60 of the image.";
        case Masking::MASK_BAD_SHAPE:
            return "No outline was found: the breast fills the image.";
        case Masking::MASK_CUT_TISSUE:
            return "Tissue lies outside the mask.";
        case Masking::MASK_CHEST_WALL:
            return "Too much of the tissue at the chest wall is as dark as background.";
        case Masking::MASK_BG_NOISE:
            return "The background beside the breast is as bright as the noise level.";
        case Masking::MASK_BAD_PIXEL_SIZE:
            return "The pixel size is more than 10 % off the working pixel size of 228 micrometres.";
        case Masking::MASK_NO_IMAGE:
            return "There is no image, or it cannot be used.";
        case Masking::MASK_NO_MASK:
            return "A mask is missing, or one that is needed came out empty.";
        case Masking::MASK_NO_SIDE:
            return "The side of the chest wall is not given.";
        case Masking::MASK_PECT_FAILED:
            return "No pectoral muscle was found.";
        case Masking::MASK_PECT_REJECTED:
            return "A border of the pectoral muscle was found and rejected for its low contrast.";
        case Masking::MASK_PECT_NOT_APPLICABLE:
            return "The view shows no pectoral muscle.";
        case Masking::MASK_BOUNDARY_TRACING:
            return "The boundary was traced; look at the contour points.";
    }
    return "Unknown status.";
}

}  // namespace Norvane
