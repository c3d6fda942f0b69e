// SPDX-License-Identifier: Apache-2.0
/// How pictures show the grey levels of a prepared image.
#pragma once

#include "io/source_image.h"

#include <algorithm>
#include <cstdint>

namespace Norvane::Host {

/// Levels of the prepared image, of 16 bits, between which a picture goes from black to white.
struct GreyRange {
    double black = 0.0;
    double white = 65536.0;

    [[nodiscard]] std::uint8_t shown(std::uint16_t level) const {
        constexpr double kShades = 256.0;
        return static_cast<std::uint8_t>(std::clamp((level - black) / (white - black) * kShades, 0.0, kShades - 1.0));
    }
};

/// The window that the source asks for; all levels where it asks for none, or for one in which nothing would show.
[[nodiscard]] GreyRange grey_range_of(const SourceImage& source);

}  // namespace Norvane::Host
