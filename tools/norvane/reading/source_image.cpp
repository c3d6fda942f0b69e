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

void set_frame(SourceImage& image, unsigned frame_count, const ReadOptions& options) {
    const std::string held = std::to_string(frame_count) + (frame_count == 1 ? " frame" : " frames");
    if (!options.frame && frame_count > 1) throw Refusal("holds " + held + "; choose one of them with --frame N");
    image.frame = options.frame.value_or(1);
    image.frame_count = frame_count;
    if (image.frame == 0 || image.frame > frame_count) {
        throw Refusal("holds " + held + "; there is no frame " + std::to_string(image.frame));
    }
}

}  // namespace Norvane::Host
