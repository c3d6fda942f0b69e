// SPDX-License-Identifier: Apache-2.0
#include "io/source_image.h"

#include "io/refusal.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace Norvane::Host {

void settle_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options,
                 std::uint64_t reader_bytes) {
    // The library counts the bits of a buffer in 32 bits.
    constexpr std::size_t kMostPixels = (std::size_t{1} << 28) - 1;
    const std::string size = fmt::format("{} x {} pixels", width, height);
    if (width == 0 || height == 0) throw Refusal(fmt::format("has no pixels ({})", size));
    const std::size_t stride = std::size_t{width} + width % 2;
    if (stride > kMostPixels / height) throw Refusal(fmt::format("is too large ({})", size));
    const std::uint64_t pixels = std::uint64_t{width} * height;
    refuse_beyond_memory(options.image_memory, memory_of_source(pixels) + reader_bytes, size);
    image.width = width;
    image.height = height;
}

void make_room(SourceImage& image) { image.samples.resize(std::size_t{image.width} * image.height); }

void set_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options,
              std::uint64_t reader_bytes) {
    settle_size(image, width, height, options, reader_bytes);
    make_room(image);
}

void set_frame(SourceImage& image, unsigned frame_count, const ReadOptions& options) {
    const std::string held = fmt::format("{} {}", frame_count, frame_count == 1 ? "frame" : "frames");
    if (!options.frame && frame_count > 1)
        throw Refusal(fmt::format("holds {}; choose one of them with --frame N, or all with --frame all", held));
    image.frame = options.frame.value_or(1);
    image.frame_count = frame_count;
    if (image.frame == 0 || image.frame > frame_count) {
        throw Refusal(fmt::format("holds {}; there is no frame {}", held, image.frame));
    }
}

}  // namespace Norvane::Host
