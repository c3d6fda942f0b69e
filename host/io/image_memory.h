// SPDX-License-Identifier: Apache-2.0
/// Estimates from its header how much memory an image will need, and refuses it if that is above the limit. The refusal
/// comes before anything of that size is allocated.
#pragma once

#include <cstdint>
#include <string>

namespace Norvane::Host {

/// The default limit in bytes for one image, from reading its first sample to writing its last result.
inline constexpr std::uint64_t kDefaultImageMemory = std::uint64_t{768} << 20;

/// Bytes for an image of `pixels` pixels without its working grid: two copies of the samples, and a part that does not
/// depend on the size. This is the most that was measured, with any kinds of results.
[[nodiscard]] constexpr std::uint64_t memory_of_source(std::uint64_t pixels) {
    constexpr std::uint64_t kBytesPerPixel = 4;
    constexpr std::uint64_t kBytesPerImage = std::uint64_t{24} << 20;
    return pixels * kBytesPerPixel + kBytesPerImage;
}

/// Bytes for the images and masks of a working grid of `pixels` pixels. If the source is coarse, its working grid is as
/// fine as the source.
[[nodiscard]] constexpr std::uint64_t memory_of_working_grid(std::uint64_t pixels) {
    constexpr std::uint64_t kBytesPerPixel = 10;
    return pixels * kBytesPerPixel;
}

/// Throws Refusal if `bytes` is above `limit`. `what` says what needs the memory, such as "1000 x 2000 pixels".
void refuse_beyond_memory(std::uint64_t limit, std::uint64_t bytes, const std::string& what);

}  // namespace Norvane::Host
