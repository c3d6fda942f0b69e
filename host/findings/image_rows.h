// SPDX-License-Identifier: Apache-2.0
/// Rows of images and masks for code that sees the public headers only.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Norvane::Host {

/// Row `y` of a 16-bit grey image, padding columns left out.
[[nodiscard]] inline std::span<const std::uint16_t> grey_row(const Image& image, unsigned y) {
    const auto* words = reinterpret_cast<const std::uint16_t*>(image.GetBuffer());
    return {words + std::size_t{y} * image.GetStride(), image.GetWidth()};
}

/// Columns first .. last of one row, both ends in.
struct ColumnRun {
    unsigned first;
    unsigned last;
};
struct RowRuns {
    unsigned row;
    std::vector<ColumnRun> runs;
};

/// The rows of a mask that hold pixels, in its own grid. Sets the target pixel size to the mask's own.
[[nodiscard]] std::vector<RowRuns> rows_of(Mask& mask);

/// One byte a pixel, 255 inside the mask and 0 outside, for a grid of width x height. Pixels beyond it are left out.
struct MaskBitmap {
    unsigned width;
    unsigned height;
    std::vector<std::uint8_t> pixels;

    [[nodiscard]] bool at(unsigned x, unsigned y) const { return pixels[std::size_t{y} * width + x] != 0; }
};
[[nodiscard]] MaskBitmap bitmap_of(Mask& mask, unsigned width, unsigned height);

/// Pixels of the mask.
[[nodiscard]] std::size_t area_of(Mask& mask);

}  // namespace Norvane::Host
