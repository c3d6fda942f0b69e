// SPDX-License-Identifier: Apache-2.0
/// How the samples of a file reach the library.
#pragma once

#include "reading/source_image.h"

#include <norvane/image.h>

#include <memory>

namespace Norvane::Host {

/// The image for PrepareImage(): 16-bit words with the used bits of the source.
///
/// Preparation takes images that use all 16 bits as signed and moves them up by 32768, so their top bit is flipped
/// here. At an odd width the padding column repeats the last one: left 0 it would be the brightest of the image after
/// that move, and the prepared image would stay dark.
[[nodiscard]] std::unique_ptr<Image> make_host_image(const SourceImage& source, double pixel_size_um);

/// The image that the mask operations work on, and the padding values on its grey scale (largest first, as the noise
/// level of BG_GIVEN_LEVEL is one of them).
struct PreparedImage {
    std::unique_ptr<Image> image;
    float scale = 0.0F;
    std::uint16_t padding_high = 0;
    std::uint16_t padding_low = 0;
};

/// Runs PrepareImage() on the source. Throws Refusal when no usable image comes out.
[[nodiscard]] PreparedImage prepare_source(const SourceImage& source, double pixel_size_um, BG_NOISE noise);

}  // namespace Norvane::Host
