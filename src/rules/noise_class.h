// SPDX-License-Identifier: Apache-2.0
/// Everything that depends on the noise class, with one row per class. A new class is a new row.
#pragma once

#include <norvane/masking.h>

#include <array>
#include <cstddef>

namespace Norvane {

/// The values that a class fixes. The defaults are those of BG_AUTO; a row names only the values that differ.
struct NoiseClass {
    static constexpr int kLevelOfHost = -1;

    BG_NOISE name = BG_AUTO;
    // Settings that the class derives
    int noise_level = Masking::c_noiseLevel_auto;  // grey level, or one of c_noiseLevel_auto and kLevelOfHost
    int blur_size = 31;                            // pixels
    float threshold_scale = 0.33F;                 // tissue threshold as a fraction of the tissue mean ...
    bool uses_threshold_scale = true;  // ... which is not used if the level is coarse or the background is black
    float gradient_threshold = Masking::c_grad_threshold;  // of a contour edge, grey levels

    // The automatic noise level
    int histogram_bins = 512;    // number of bins of the grey scale
    int bin_of_clean_black = 1;  // the bin of the level if the background has no separate peak

    // Preparation
    unsigned short darkest = 0;  // a prepared image is raised to at least this grey level

    /// The frame consists of padding values, and the background is (nearly) black. So the frame is found by the
    /// padding, the chest wall is not patched, contours are smoothed little, and the background needs no check.
    bool has_padding = false;
    /// Only the host's range of padding values bounds the breast, so its outline is traced instead of searched.
    bool is_traced = false;
    /// The background is brighter than its check allows, so it is not checked. Contours are smoothed over more bins.
    /// The chest-wall patch reaches farther, and the cut-tissue check runs even if the patch is large.
    bool is_bright = false;
    /// A large chest-wall patch is accepted: it does not replace the noise level, and the breast mask gives no warning.
    bool accepts_large_patch = false;
};

inline constexpr std::array<NoiseClass, 10> kNoiseClasses{{
    {.name = BG_AUTO_COARSE, .threshold_scale = 0.4F, .uses_threshold_scale = false, .histogram_bins = 64},
    {.name = BG_MG,
     .blur_size = 11,
     .threshold_scale = 0.1F,
     .uses_threshold_scale = false,
     .gradient_threshold = Masking::c_grad_threshold_MG,
     .has_padding = true},
    {.name = BG_MG_RAW,
     .blur_size = 3,
     .threshold_scale = 0.1F,
     .uses_threshold_scale = false,
     .gradient_threshold = Masking::c_grad_threshold_MG_RAW,
     .histogram_bins = 64,
     .has_padding = true},
    {.name = BG_GIVEN_LEVEL,
     .noise_level = NoiseClass::kLevelOfHost,
     .blur_size = 11,
     .threshold_scale = 0.1F,
     .uses_threshold_scale = false,
     .has_padding = true,
     .is_traced = true},
    {.name = BG_AUTO},
    {.name = BG_FIXED_MID,
     .noise_level = Masking::c_noiseLevel_R716,
     .threshold_scale = 0.25F,
     .darkest = Masking::P_BACKGROUND},
    {.name = BG_FIXED_HIGH, .noise_level = Masking::c_bg_noise_upper_level, .threshold_scale = 0.4F, .is_bright = true},
    {.name = BG_MG_RAW_2,
     .blur_size = 11,
     .threshold_scale = 0.1F,
     .gradient_threshold = Masking::c_grad_threshold_MG_RAW,
     .has_padding = true},
    {.name = BG_MG_RAW_3,
     .blur_size = 11,
     .threshold_scale = 0.1F,
     .gradient_threshold = Masking::c_grad_threshold_MG_RAW,
     .has_padding = true},
    {.name = BG_AUTO_MEDIUM,
     .uses_threshold_scale = false,
     .histogram_bins = 128,
     .bin_of_clean_black = 3,
     .accepts_large_patch = true},
}};

/// Hosts may pass values that are not in the list. These derive no settings and follow the rules of this row.
inline constexpr NoiseClass kUnlistedClass{};

[[nodiscard]] constexpr bool is_listed(BG_NOISE noise_class) {
    return static_cast<unsigned>(noise_class) < kNoiseClasses.size();
}
[[nodiscard]] constexpr const NoiseClass& rules_of(BG_NOISE noise_class) {
    if (is_listed(noise_class)) return kNoiseClasses[static_cast<std::size_t>(noise_class)];
    return kUnlistedClass;
}

[[nodiscard]] constexpr bool are_found_by_number() {
    for (std::size_t i = 0; i < kNoiseClasses.size(); ++i) {
        if (static_cast<std::size_t>(kNoiseClasses[i].name) != i) return false;
    }
    return true;
}
static_assert(are_found_by_number());

}  // namespace Norvane
