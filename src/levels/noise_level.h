// SPDX-License-Identifier: Apache-2.0
/// Finds the noise level of a prepared image from its grey-level histogram.
#pragma once

#include <norvane/image.h>

#include "rules/noise_class.h"

#include <optional>
#include <span>
#include <vector>

namespace Norvane {

/// The number of pixels in equal parts of the grey scale.
using GreyHistogram = std::vector<int>;

/// Nothing if the filter refuses the image; it then prints why to standard output.
[[nodiscard]] std::optional<GreyHistogram> grey_histogram(Image* image, int bins);

/// Rebins to fewer parts; their number must divide that of the bins.
[[nodiscard]] GreyHistogram in_parts(std::span<const int> histogram, int parts);

/// The first grey level above the noise. The background is a peak of the histogram with more pixels than the image's
/// `perimeter`.
[[nodiscard]] int noise_level_of(std::span<const int> histogram, unsigned perimeter, const NoiseClass& rules);

/// The result of the search for the noise level.
struct AutomaticLevel {
    int noise_level = 0;                     // 0 if the image is null or does not have 16 bits
    std::optional<GreyHistogram> histogram;  // present if the image could be counted
};
[[nodiscard]] AutomaticLevel automatic_level(Image* image, const NoiseClass& rules);

}  // namespace Norvane
