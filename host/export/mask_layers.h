// SPDX-License-Identifier: Apache-2.0
/// How pictures show the masks as outlines: each has the same name, colour and width everywhere.
#pragma once

#include "findings/library_masks.h"

#include <array>

namespace Norvane::Host {

struct Colour {
    double red, green, blue;
};

struct MaskLayer {
    const char* key;    ///< one word, for files
    const char* label;  ///< for people
    Colour colour;
    double line_width;  ///< in pixels, for a picture about 1,000 pixels high
    const Region& (*region_of)(const FoundMasks&);
};

inline constexpr MaskLayer kFrameLayer{
    "frame", "Frame (exposed field)", {0.35, 0.65, 1.0}, 3.0, [](const FoundMasks& m) -> const Region& {
        return m.frame.region;
    }};
inline constexpr MaskLayer kFullLayer{
    "full", "Full mask (breast and upper muscle)", {1.0, 0.83, 0.20}, 7.0, [](const FoundMasks& m) -> const Region& {
        return m.joined();
    }};
inline constexpr MaskLayer kOuterLayer{
    "outer", "Outer contour", {0.90, 0.45, 1.0}, 2.0, [](const FoundMasks& m) -> const Region& { return m.outer; }};
inline constexpr MaskLayer kBreastLayer{
    "breast", "Breast", {0.20, 0.90, 0.55}, 2.2, [](const FoundMasks& m) -> const Region& { return m.breast.region; }};
inline constexpr MaskLayer kPectoralLayer{
    "pectoral", "Pectoral muscle", {1.0, 0.33, 0.30}, 3.0, [](const FoundMasks& m) -> const Region& {
        return m.muscle();
    }};
inline constexpr MaskLayer kRefinedMuscleLayer{
    "refined_pectoral", "Pectoral muscle, refined", {1.0, 0.62, 0.10}, 2.0, [](const FoundMasks& m) -> const Region& {
        return m.refined.region;
    }};

/// The layers of overlays in the order in which they are drawn. Wider lines lie below narrower ones, so that outlines
/// stay visible where they coincide.
inline constexpr std::array<MaskLayer, 5> kMaskLayers{kFrameLayer, kFullLayer, kOuterLayer, kBreastLayer,
                                                      kPectoralLayer};

/// With the refined muscle, for pages on which layers can be switched off.
inline constexpr std::array<MaskLayer, 6> kAllMaskLayers{kFrameLayer,  kFullLayer,     kOuterLayer,
                                                         kBreastLayer, kPectoralLayer, kRefinedMuscleLayer};

}  // namespace Norvane::Host
