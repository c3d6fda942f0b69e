// SPDX-License-Identifier: Apache-2.0
/// The working settings of a Masking, as a value for the rules.
#pragma once

#include "rules/noise_class.h"

#include <cstdint>

namespace Norvane {

/// The settings that follow from the noise class, or that hosts and derived classes set.
struct Settings {
    std::uint16_t noise_level;  // grey levels up to this one are background
    float threshold_scale;      // tissue threshold as a fraction of the tissue mean
    bool raises_near_wall;      // tissue next to the wall must be brighter ...
    float radius_scale;         // ... by this factor
    float gradient_threshold;   // of a contour edge, grey levels; 0: edges do not end a direction
    float gradient_scale;       // contour edge: a fall below this multiple of the tissue threshold
    float border_factor;        // frame: a rise by this multiple of the gradient threshold
    std::uint16_t tolerance;    // number of background samples that a direction may meet
    int blur_size;              // blur of the thresholded image, in pixels
    double largest_patch;       // fraction of the region at the chest wall that may be raised
};

/// The settings after those of the noise class were derived for a call.
[[nodiscard]] inline Settings with_noise_class(Settings settings, const Masking::Params& params) {
    if (!is_listed(params.bgNoise)) return settings;
    const NoiseClass& rules = rules_of(params.bgNoise);
    settings.noise_level = rules.noise_level == NoiseClass::kLevelOfHost
                               ? params.noiseLevel
                               : static_cast<std::uint16_t>(rules.noise_level);
    settings.blur_size = rules.blur_size;
    settings.threshold_scale = rules.threshold_scale;
    settings.gradient_threshold = rules.gradient_threshold;
    return settings;
}

}  // namespace Norvane
