// SPDX-License-Identifier: Apache-2.0
/// How the samples of a file reach the library.
#pragma once

#include "analysis/film_area.h"
#include "reading/source_image.h"

#include <norvane/image.h>

#include <memory>

namespace Norvane::Host {

/// The image for PrepareImage(): the box of the source as 16-bit words with its used bits.
///
/// Preparation takes images that use all 16 bits as signed and moves them up by 32768, so their top bit is flipped
/// here. At an odd width the padding column repeats the last one: left 0 it would be the brightest of the image after
/// that move, and the prepared image would stay dark.
[[nodiscard]] std::unique_ptr<Image> make_host_image(const SourceImage& source, const SourceBox& box,
                                                     double pixel_size_um);

/// The image that the mask operations work on, and the padding values on its grey scale (largest first, as the noise
/// level of BG_GIVEN_LEVEL is one of them).
struct PreparedImage {
    std::unique_ptr<Image> image;
    float scale = 0.0F;
    std::uint16_t padding_high = 0;
    std::uint16_t padding_low = 0;
};

/// Runs PrepareImage() on the box of the source, for every class but BG_FIXED_MID. Throws Refusal when no usable image
/// comes out.
[[nodiscard]] PreparedImage prepare_source(const SourceImage& source, const SourceBox& box, double pixel_size_um);

/// A copy for one class: PrepareImage() raises dark levels for BG_FIXED_MID and knows no other difference.
[[nodiscard]] PreparedImage prepared_for(const PreparedImage& prepared, BG_NOISE noise);

}  // namespace Norvane::Host
