// SPDX-License-Identifier: Apache-2.0
/// Prepares an acquired mammogram: grey levels over the full range, and the working pixel size.
#pragma once

#include <norvane/image.h>

#include <cstdint>
#include <memory>

namespace Norvane {

/// The parameters of the preparation.
struct Preparation {
    unsigned short darkest;                               // the result is raised to at least this grey level
    bool resample_first;                                  // before the grey-level steps instead of after them
    Image* (*resampler)(Image*, float&);                  // null, or the host's
    unsigned short *padding_value, *padding_range_limit;  // null, or grey values that are mapped like the pixels
};

/// Null if the image cannot be prepared, or the host's resampler makes none. See PrepareImage().
[[nodiscard]] std::unique_ptr<Image> prepared_image(Image* image, float& scale, const Preparation& wanted);

}  // namespace Norvane
