// SPDX-License-Identifier: Apache-2.0
/// Grey levels and counts of the frame search that its files share.
#pragma once

#include <cstdint>

namespace Norvane {

inline constexpr std::uint16_t kFrameEdgeStrength = 2600;  // grey-level step at an edge of the frame
inline constexpr unsigned kCandidates = 2;                 // kept per border
inline constexpr double kFrameBrightness = 58981.0;        // 0.9 of the grey scale; an unexposed frame is brighter

}  // namespace Norvane
