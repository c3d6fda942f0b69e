// SPDX-License-Identifier: Apache-2.0
/// Prepared images as grey pictures of 8 bits.
#pragma once

#include "export/grey_range.h"

#include <norvane/image.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Norvane::Host {

struct GreyPicture {
    unsigned width;
    unsigned height;
    std::vector<std::uint8_t> pixels;  ///< row by row; 0 is black

    [[nodiscard]] std::span<const std::uint8_t> row(unsigned y) const {
        return std::span(pixels).subspan(std::size_t{y} * width, width);
    }
};

/// Each grey level of the image as `range` shows it.
[[nodiscard]] GreyPicture grey_picture(const Image& image, const GreyRange& range);

/// The picture with `zoom` of its width and height, rounded up; `zoom` is above 0 and at most 1. Each pixel is the mean
/// of the part of the picture that it covers.
[[nodiscard]] GreyPicture reduced(const GreyPicture& picture, double zoom);

}  // namespace Norvane::Host
