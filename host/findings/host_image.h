// SPDX-License-Identifier: Apache-2.0
/// How the samples of a file reach the library.
#pragma once

#include "findings/film_area.h"
#include "io/source_image.h"

#include <norvane/image.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace Norvane::Host {

/// Grey samples in somebody's memory, and how they are to be read.
struct GreySamples {
    const std::uint16_t* first = nullptr;
    std::size_t row_stride = 0;  ///< samples from row to row
    unsigned width = 0;
    unsigned height = 0;
    unsigned used_bits = 16;
    bool needs_inversion = false;
    double pixel_size_um = 0.0;
};
[[nodiscard]] GreySamples samples_of(const SourceImage& source, const SourceBox& box, double pixel_size_um);

/// The image for PrepareImage(): 16-bit words with their used bits, in a buffer of its own.
///
/// Preparation takes images that use all 16 bits as signed and moves them up by 32768, so their top bit is flipped
/// here. At an odd width the padding column repeats the last one: left 0 it would be the brightest of the image after
/// that move, and the prepared image would stay dark.
[[nodiscard]] std::unique_ptr<Image> make_host_image(const GreySamples& samples);

/// The same on the samples themselves, which must outlive it, where nothing of that is needed: rows of an even width
/// without gaps, of less than 16 used bits. Preparation reads such an image and changes nothing.
[[nodiscard]] std::unique_ptr<Image> host_image_over(const GreySamples& samples);

/// The image that the mask operations work on, and the padding values on its grey scale (largest first, as the noise
/// level of BG_GIVEN_LEVEL is one of them).
struct PreparedImage {
    std::unique_ptr<Image> image;
    float scale = 0.0F;
    std::uint16_t padding_high = 0;
    std::uint16_t padding_low = 0;
};

/// Runs PrepareImage(), without copying where host_image_over() does not. No image where the library makes none.
[[nodiscard]] PreparedImage prepare_samples(const GreySamples& samples, const std::optional<PaddingRange>& padding,
                                            BG_NOISE noise, bool resample_first);

/// Runs PrepareImage() on the box of the source, for every class but BG_FIXED_MID. Throws Refusal when no usable image
/// comes out.
[[nodiscard]] PreparedImage prepare_source(const SourceImage& source, const SourceBox& box, double pixel_size_um);

/// A copy for one class: PrepareImage() raises dark levels for BG_FIXED_MID and knows no other difference.
[[nodiscard]] PreparedImage prepared_for(const PreparedImage& prepared, BG_NOISE noise);

}  // namespace Norvane::Host
