// SPDX-License-Identifier: Apache-2.0
#include "reading/source_image.h"

#include "reading/refusal.h"

#include <cstddef>
#include <string>

namespace Norvane::Host {

void set_size(SourceImage& image, unsigned width, unsigned height) {
    // The library counts the bits of a buffer in 32 bits.
    constexpr std::size_t kMostPixels = (std::size_t{1} << 28) - 1;
    const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    if (width == 0 || height == 0) throw Refusal("has no pixels (" + size + ")");
    const std::size_t stride = std::size_t{width} + width % 2;
    if (stride > kMostPixels / height) throw Refusal("is too large (" + size + ")");
    image.width = width;
    image.height = height;
    image.samples.assign(std::size_t{width} * height, 0);
}

}  // namespace Norvane::Host
