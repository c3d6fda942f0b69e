// SPDX-License-Identifier: Apache-2.0
/// Passes the samples of a file to the library.
#pragma once

#include "findings/film_area.h"
#include "io/source_image.h"

#include <norvane/image.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace Norvane::Host {

/// Grey samples in memory that somebody else owns, and how to read them.
struct GreySamples {
    const std::uint16_t* first = nullptr;
    std::size_t row_stride = 0;  ///< in samples
    unsigned width = 0;
    unsigned height = 0;
    unsigned used_bits = 16;
    bool needs_inversion = false;
    double pixel_size_um = 0.0;
};
[[nodiscard]] GreySamples samples_of(const SourceImage& source, const SourceBox& box, double pixel_size_um);

/// Makes the image for PrepareImage(): 16-bit words with their used bits, in a buffer of its own.
///
/// If an image uses all 16 bits, preparation takes it as signed and adds 32768, so the top bit is flipped here. If the
/// width is odd, the padding column repeats the last column. A padding column of 0 would become the brightest one after
/// the addition, and the prepared image would be too dark.
[[nodiscard]] std::unique_ptr<Image> make_host_image(const GreySamples& samples);

/// Makes the same image without a copy if the samples have an even width, no gaps between rows and fewer than 16 used
/// bits. The samples must outlive it. Preparation only reads such an image.
[[nodiscard]] std::unique_ptr<Image> host_image_over(const GreySamples& samples);

/// The image that the mask operations work on, and the padding values on its grey scale. The larger one is the noise
/// level of BG_GIVEN_LEVEL.
struct PreparedImage {
    std::unique_ptr<Image> image;
    float scale = 0.0F;
    std::uint16_t padding_high = 0;
    std::uint16_t padding_low = 0;
};

/// Runs PrepareImage() on host_image_over(). The answer has no image if the library makes none.
[[nodiscard]] PreparedImage prepare_samples(const GreySamples& samples, const std::optional<PaddingRange>& padding,
                                            BG_NOISE noise, bool resample_first);

/// Runs PrepareImage() on `box` of the source, for every class except BG_FIXED_MID. Throws Refusal if the image cannot
/// be prepared or is too small.
[[nodiscard]] PreparedImage prepare_source(const SourceImage& source, const SourceBox& box, double pixel_size_um);

/// A copy for one noise class. PrepareImage() raises dark levels for BG_FIXED_MID; all other classes get the same
/// image.
[[nodiscard]] PreparedImage prepared_for(const PreparedImage& prepared, BG_NOISE noise);

}  // namespace Norvane::Host
