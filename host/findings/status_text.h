// SPDX-License-Identifier: Apache-2.0
/// Describes the statuses of the mask operations in words.
#pragma once

#include <norvane/masking.h>

#include <array>

namespace Norvane::Host {

struct StatusText {
    Masking::MASK_STATUS status;
    const char* name;
    const char* sentence;  ///< what it means for the user of the masks
};

/// All statuses that an operation can return, in ascending order.
inline constexpr std::array<StatusText, 14> kStatusTexts{{
    {Masking::MASK_OK, "MASK_OK", "The mask can be used."},
    {Masking::MASK_TOO_SMALL, "MASK_TOO_SMALL", "The breast came out smaller than 1/60 of the image."},
    {Masking::MASK_BAD_SHAPE, "MASK_BAD_SHAPE", "The mask fills the image like a rectangle: no skin line was found."},
    {Masking::MASK_CUT_TISSUE, "MASK_CUT_TISSUE", "Tissue as bright as the breast lies outside the mask."},
    {Masking::MASK_CHEST_WALL, "MASK_CHEST_WALL", "Too much of the chest-wall side is as dark as background."},
    {Masking::MASK_BG_NOISE, "MASK_BG_NOISE", "The background beside the breast is as bright as the noise level."},
    {Masking::MASK_BAD_PIXEL_SIZE, "MASK_BAD_PIXEL_SIZE", "The image is more than 10 % off the working pixel size."},
    {Masking::MASK_NO_IMAGE, "MASK_NO_IMAGE", "There is no image that can be used."},
    {Masking::MASK_NO_MASK, "MASK_NO_MASK", "A mask that is needed came out empty."},
    {Masking::MASK_NO_SIDE, "MASK_NO_SIDE", "The chest-wall side is not known."},
    {Masking::MASK_PECT_FAILED, "MASK_PECT_FAILED", "No line of the pectoral muscle was found."},
    {Masking::MASK_PECT_REJECTED, "MASK_PECT_REJECTED", "A line was found, but its contrast is not that of a muscle."},
    {Masking::MASK_PECT_NOT_APPLICABLE, "MASK_PECT_NOT_APPLICABLE", "The view shows no pectoral muscle."},
    {Masking::MASK_BOUNDARY_TRACING, "MASK_BOUNDARY_TRACING", "The outline was traced along the padding values."},
}};

[[nodiscard]] const StatusText& text_of(Masking::MASK_STATUS status);

}  // namespace Norvane::Host
