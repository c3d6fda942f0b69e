// SPDX-License-Identifier: Apache-2.0
/// Everything that depends on the noise class, one row a class. A new class is a new row.
#pragma once

#include <norvane/masking.h>

#include <array>
#include <cstddef>

namespace Norvane {

/// What a class fixes. The values given here are those of BG_AUTO; a row names what differs.
struct NoiseClass {
    static constexpr int kLevelOfHost = -1;

    BG_NOISE name = BG_AUTO;
    // Settings that the class derives
    int noise_level = Masking::c_noiseLevel_auto;  // grey level, or one of c_noiseLevel_auto and kLevelOfHost
    int blur_size = 31;                            // pixels
    float threshold_scale = 0.33F;                 // tissue threshold as a fraction of the tissue mean ...
    bool uses_threshold_scale = true;  // ... which is not asked for if the level is coarse or the background black
    int gradient_threshold = Masking::c_grad_threshold;  // of a contour edge, grey levels

    // The automatic noise level
    int histogram_bins = 512;    // of the grey scale
    int bin_of_clean_black = 1;  // the level's bin if the background has no peak of its own

    // Preparation
    int darkest = 0;  // grey level to which a prepared image is raised

    /// The frame is made of padding values and the background is (nearly) black: the frame is found by the padding, the
    /// chest wall is not patched, contours are smoothed little, and the background needs no check.
    bool has_padding = false;
    /// The breast is bounded by the host's range of padding values alone, so its outline is traced instead of searched.
    bool is_traced = false;
    /// The background is brighter than its check allows: no check; contours are smoothed over more bins; the chest-wall
    /// patch reaches farther, and a large one does not keep the cut-tissue check from running.
    bool is_bright = false;
    /// A large chest-wall patch is taken as it is: it does not replace the noise level, and the breast mask does not
    /// warn.
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

/// Values outside the list, which hosts may pass, derive no settings and have the rules of this row.
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
