// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "export/deflate_stream.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace Norvane::Host {

/// A pixel of a coloured picture.
struct RgbPixel {
    std::uint8_t red, green, blue;
};

/// Writes row `y` into `row`.
template <class Sample>
using RowSource = std::function<void(unsigned y, std::span<Sample> row)>;

/// The bytes of a grey PNG file of 8 or 16 bits. Asks for the rows one by one.
[[nodiscard]] std::string encode_png(unsigned width, unsigned height, DeflatedContent content,
                                     const RowSource<std::uint8_t>& source);
[[nodiscard]] std::string encode_png(unsigned width, unsigned height, DeflatedContent content,
                                     const RowSource<std::uint16_t>& source);

/// The bytes of a colour PNG file of 8 bits, compressed fast: most of its pixels are grey levels with noise.
[[nodiscard]] std::string encode_png(unsigned width, unsigned height, const RowSource<RgbPixel>& source);

/// Grey PNG files from pixels in memory, row by row.
[[nodiscard]] std::string encode_png(std::span<const std::uint8_t> pixels, unsigned width, unsigned height,
                                     DeflatedContent content = DeflatedContent::kNoise);
[[nodiscard]] std::string encode_png(std::span<const std::uint16_t> pixels, unsigned width, unsigned height);

}  // namespace Norvane::Host
