// SPDX-License-Identifier: Apache-2.0
/// What the user says about the images, on the command line.
#pragma once

#include "io/image_memory.h"
#include "io/source_image.h"

#include <norvane/masking.h>

#include <cstdint>
#include <optional>

namespace Norvane::Host {

/// Pixels below a micrometre are millimetres that were given for micrometres.
inline constexpr double kLeastPixelSizeUm = 1.0;

/// What holds if neither the user nor the file nor the pixels say it.
struct DefaultSettings {
    std::optional<IMAGE_SIDE> side;
    std::optional<IMAGE_VIEW> view;
    std::optional<double> pixel_size_um;
};

/// What is not given comes from the file or is found in the image.
struct AnalysisOptions {
    std::optional<IMAGE_SIDE> side;
    std::optional<IMAGE_VIEW> view;
    std::optional<double> pixel_size_um;
    std::optional<BG_NOISE> noise;
    bool tries_noise = false;  ///< the class is chosen from the pixels, whatever the file says; without `noise`
    std::optional<PaddingRange> padding;
    bool crops_film_area = true;
    bool is_inverted = false;
    bool is_fast = false;
    bool wants_contour = true;
    DefaultSettings defaults;
    std::uint64_t image_memory = kDefaultImageMemory;  ///< bytes; an image that would need more is refused
};

}  // namespace Norvane::Host
