// SPDX-License-Identifier: Apache-2.0
/// Writes JPEG files, for pictures that people look at. They have a fifth of the size of PNG files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Norvane::Host {

enum class JpegPixels {
    kGrey,    ///< one byte per pixel
    kColour,  ///< one 32-bit word 0x00RRGGBB per pixel, in the byte order of this machine
};

/// The bytes of a JPEG file. `row_bytes` is the distance from one row to the next; `quality` goes up to 100.
[[nodiscard]] std::string encode_jpeg(const std::uint8_t* pixels, JpegPixels kind, unsigned width, unsigned height,
                                      std::size_t row_bytes, int quality);

}  // namespace Norvane::Host
