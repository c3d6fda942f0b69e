// SPDX-License-Identifier: Apache-2.0
/// JPEG files, for pictures that people look at: a fifth of the size of PNG.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Norvane::Host {

enum class JpegPixels {
    kGrey,    ///< a byte a pixel
    kColour,  ///< a word of 0x00RRGGBB a pixel, in the order of this machine
};

/// The bytes of a JPEG file. `row_bytes` lie between the beginnings of two rows; `quality` goes up to 100.
[[nodiscard]] std::string encode_jpeg(const std::uint8_t* pixels, JpegPixels kind, unsigned width, unsigned height,
                                      std::size_t row_bytes, int quality);

}  // namespace Norvane::Host
