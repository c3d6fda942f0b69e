// SPDX-License-Identifier: Apache-2.0
/// The masks of an image by name, as the JSON and Python hold them: the exact ones beside the refined ones, whatever
/// was chosen for the other results.
#pragma once

#include "findings/library_masks.h"

#include <norvane/masking.h>

#include <array>

namespace Norvane::Host {

struct NamedMask {
    const char* name;
    const char* meaning;
    const Region& (*region_of)(const FoundMasks&);
    const Masking::MASK_STATUS* (*status_of)(const FoundMasks&);  ///< null: this mask has no status of its own
};

inline constexpr std::array<NamedMask, 7> kNamedMasks{{
    {"frame", "The exposed field", [](const FoundMasks& m) -> const Region& { return m.frame.region; },
     [](const FoundMasks& m) { return &m.frame.status; }},
    {"breast", "The breast, which the muscle may overlap",
     [](const FoundMasks& m) -> const Region& { return m.breast.region; },
     [](const FoundMasks& m) { return &m.breast.status; }},
    {"pectoral", "The pectoral muscle", [](const FoundMasks& m) -> const Region& { return m.pectoral.region; },
     [](const FoundMasks& m) { return &m.pectoral.status; }},
    {"full", "Breast and upper muscle", [](const FoundMasks& m) -> const Region& { return m.full.region; },
     [](const FoundMasks& m) { return &m.full.status; }},
    {"refined_pectoral", "The pectoral muscle with a border that follows the image; empty without a muscle",
     [](const FoundMasks& m) -> const Region& { return m.refined.region; }, nullptr},
    {"refined_full", "Breast and refined muscle", [](const FoundMasks& m) -> const Region& { return m.refined_full; },
     nullptr},
    {"outer", "What the outer contour encloses", [](const FoundMasks& m) -> const Region& { return m.outer; }, nullptr},
}};

}  // namespace Norvane::Host
