// SPDX-License-Identifier: Apache-2.0
/// Rows of an Image: where they lie in the buffer, and as spans, so that algorithms index pixels by column and know
/// nothing of strides.
#pragma once

#include <norvane/image.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane {

/// Bytes of a sample; 1 for 1-bit images, whose samples share a byte.
[[nodiscard]] inline std::size_t bytes_per_sample(const Image& image) { return (std::size_t{image.GetBits()} + 7) / 8; }

/// Bytes from row to row.
[[nodiscard]] inline std::size_t row_pitch(const Image& image) {
    const std::size_t stride = image.GetStride();
    return image.GetBits() == 1 ? (stride + 7) / 8 : stride * bytes_per_sample(image);
}

/// Row `y` of an image whose samples are of type Sample, padding columns not included. The image must have a buffer.
template <class Sample>
[[nodiscard]] inline std::span<Sample> row_of(const Image& image, unsigned y) {
    auto* first = reinterpret_cast<Sample*>(image.GetBuffer());
    return {first + static_cast<std::size_t>(y) * image.GetStride(), image.GetWidth()};
}

/// The same with the padding columns: the row as the platform sees it.
template <class Sample>
[[nodiscard]] inline std::span<Sample> whole_row_of(const Image& image, unsigned y) {
    auto* first = reinterpret_cast<Sample*>(image.GetBuffer());
    return {first + static_cast<std::size_t>(y) * image.GetStride(), image.GetStride()};
}

/// Row `y` of a 16-bit grey image, to read.
[[nodiscard]] inline std::span<const std::uint16_t> grey_row(const Image& image, unsigned y) {
    return row_of<const std::uint16_t>(image, y);
}

/// Row `y` of a 16-bit grey image, to write.
[[nodiscard]] inline std::span<std::uint16_t> grey_row_to_write(Image& image, unsigned y) {
    return row_of<std::uint16_t>(image, y);
}

}  // namespace Norvane
