// SPDX-License-Identifier: Apache-2.0
/// Decides how pictures show the grey levels of a prepared image.
#pragma once

#include "io/source_image.h"

#include <algorithm>
#include <cstdint>

namespace Norvane::Host {

/// The 16-bit levels of the prepared image that a picture shows as black and as white.
struct GreyRange {
    double black = 0.0;
    double white = 65536.0;

    [[nodiscard]] std::uint8_t shown(std::uint16_t level) const {
        constexpr double kShades = 256.0;
        return static_cast<std::uint8_t>(std::clamp((level - black) / (white - black) * kShades, 0.0, kShades - 1.0));
    }
};

/// The window that the source asks for. If it has none, or one that would show nothing, all levels.
[[nodiscard]] GreyRange grey_range_of(const SourceImage& source);

}  // namespace Norvane::Host
