// SPDX-License-Identifier: Apache-2.0
/// How much memory an image will need, as far as its header tells, and the limit that it must keep. What is refused is
/// refused before anything of that size is allocated.
#pragma once

#include <cstdint>
#include <string>

namespace Norvane::Host {

/// Bytes that one image may need from its first sample to its last result, unless the user says otherwise.
inline constexpr std::uint64_t kDefaultImageMemory = std::uint64_t{768} << 20;

/// The most that an image of so many pixels was seen to need, whatever its results, without its working grid: two
/// copies of the samples, and what does not depend on the size.
[[nodiscard]] constexpr std::uint64_t memory_of_source(std::uint64_t pixels) {
    constexpr std::uint64_t kBytesPerPixel = 4;
    constexpr std::uint64_t kBytesPerImage = std::uint64_t{24} << 20;
    return pixels * kBytesPerPixel + kBytesPerImage;
}

/// The same for the images and masks of the working grid, which is as fine as the source if that is coarse.
[[nodiscard]] constexpr std::uint64_t memory_of_working_grid(std::uint64_t pixels) {
    constexpr std::uint64_t kBytesPerPixel = 10;
    return pixels * kBytesPerPixel;
}

/// Throws Refusal if `bytes` are more than `limit`. `what` needs them, such as "1000 x 2000 pixels".
void refuse_beyond_memory(std::uint64_t limit, std::uint64_t bytes, const std::string& what);

}  // namespace Norvane::Host
