// SPDX-License-Identifier: Apache-2.0
/// Finds the mean grey level of tissue and the thresholds that follow from it.
#pragma once

#include <norvane/masking.h>

#include <cstdint>
#include <span>

namespace Norvane {

/// Number of parts of the grey scale in which tissue is counted.
inline constexpr int kTissueParts = 64;

/// The weighted mean above the noise level. The brightest parts (frame, labels, markers) are left out. 0 if there is no
/// tissue.
[[nodiscard]] std::uint16_t tissue_mean_of(std::span<const int> histogram, std::uint16_t noise_level);

struct TissueThresholds {
    std::uint16_t tissue_mean;
    std::uint16_t background_level;
    std::uint16_t tissue_threshold;
    float threshold_scale;
    bool is_low_contrast;  // the scale was raised; then tissue next to the wall need not be brighter

    /// `state` with these thresholds.
    [[nodiscard]] ContourState in(ContourState state) const {
        state.tissueMean = tissue_mean;
        state.backgroundLevel = background_level;
        state.tissueThreshold = tissue_threshold;
        state.thresholdScale = threshold_scale;
        return state;
    }
};

[[nodiscard]] TissueThresholds tissue_thresholds(std::span<const int> histogram, std::uint16_t noise_level,
                                                 float threshold_scale);

}  // namespace Norvane
