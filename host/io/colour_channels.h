// SPDX-License-Identifier: Apache-2.0
/// Reads grey images that were stored as colour images.
#pragma once

#include "io/refusal.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane::Host {

inline constexpr std::size_t kColourChannels = 3;
/// The encoding of such an image, for people.
inline constexpr const char* kEqualChannels = "RGB with equal channels, read as grey";

[[noreturn]] inline void refuse_colour() { throw Refusal("is a colour image; grey images are read"); }

/// Fills `grey` from pixels of red, green and blue. Returns false if the channels of a pixel differ.
template <class Sample>
[[nodiscard]] bool take_equal_channels(std::span<const Sample> rgb, std::span<std::uint16_t> grey) {
    for (std::size_t i = 0; i < grey.size(); ++i) {
        const Sample* pixel = &rgb[i * kColourChannels];
        if (pixel[0] != pixel[1] || pixel[0] != pixel[2]) return false;
        grey[i] = pixel[0];
    }
    return true;
}

}  // namespace Norvane::Host
