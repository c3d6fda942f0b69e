// SPDX-License-Identifier: Apache-2.0
/// The pixels of a mask as a value.
#pragma once

#include <norvane/mask.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Norvane::Host {

/// The columns first .. last of one row, both included.
struct ColumnRun {
    unsigned first;
    unsigned last;

    friend bool operator==(const ColumnRun&, const ColumnRun&) = default;
};
struct RowRuns {
    unsigned row;
    std::vector<ColumnRun> runs;  ///< at least one; in ascending order, never touching

    friend bool operator==(const RowRuns&, const RowRuns&) = default;
};

/// Columns left .. right and rows top .. bottom of a grid, all included.
struct GridBounds {
    unsigned left, top, right, bottom;
};

/// One byte per pixel: 255 inside the mask and 0 outside.
struct MaskBitmap {
    unsigned width;
    unsigned height;
    std::vector<std::uint8_t> pixels;

    [[nodiscard]] bool at(unsigned x, unsigned y) const { return pixels[std::size_t{y} * width + x] != 0; }
};

/// The pixels of a mask as runs of columns for each row of its grid. A Region never changes, so any number of threads
/// may read it. The library's Mask is different: to read one, a thread sets the pixel size in which it answers.
class Region {
public:
    Region() = default;  ///< no pixels
    /// The pixels of `mask` on its own grid.
    explicit Region(Mask mask);
    /// `rows` must be in ascending order.
    Region(std::vector<RowRuns> rows, float pixel_size_um);

    /// The rows that hold pixels, in ascending order.
    [[nodiscard]] const std::vector<RowRuns>& rows() const { return rows_with_pixels; }
    /// The runs of row `y`; none if the row holds no pixels.
    [[nodiscard]] std::span<const ColumnRun> row(unsigned y) const;
    /// Pixel size of the grid in micrometres. It may be 0 if the region has no pixels.
    [[nodiscard]] float pixel_size_um() const { return micrometres; }

    [[nodiscard]] std::size_t area() const;  ///< number of pixels
    [[nodiscard]] std::optional<GridBounds> bounds() const;
    /// The bitmap of a grid of width x height. Pixels outside it are left out.
    [[nodiscard]] MaskBitmap bitmap(unsigned width, unsigned height) const;

    /// The same pixels with this pixel size. A region without pixels may lack one.
    [[nodiscard]] Region with_pixel_size(float pixel_size_um) const;
    /// The region as a Mask of the library.
    [[nodiscard]] Mask mask() const;

    friend bool operator==(const Region&, const Region&) = default;

private:
    float micrometres = 0.0F;
    std::vector<RowRuns> rows_with_pixels;
};

/// The number of pixels that belong to both. Both must be on the same grid.
[[nodiscard]] std::size_t common_area(const Region& a, const Region& b);

/// Dice coefficient (dice1945): twice the number of common pixels, divided by the sum of both areas. It is 1 if the
/// regions are equal or both empty, and 0 if they have no common pixel. Both must be on the same grid.
[[nodiscard]] double dice(const Region& a, const Region& b);

/// The pixel of a grid on which pixel `v` of a picture lies, along either axis. Pixel sizes are in micrometres. If its
/// target pixel size is that of the picture, Mask::HitTest() calculates the same. The pixel may lie after the last one
/// of the grid.
[[nodiscard]] unsigned grid_coordinate(unsigned v, float pixel_size_um, float grid_pixel_size_um);

[[nodiscard]] double square_millimetres(std::size_t pixels, double pixel_size_um);

}  // namespace Norvane::Host
