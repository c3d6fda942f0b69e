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

/// Columns first .. last of one row, both ends in.
struct ColumnRun {
    unsigned first;
    unsigned last;

    friend bool operator==(const ColumnRun&, const ColumnRun&) = default;
};
struct RowRuns {
    unsigned row;
    std::vector<ColumnRun> runs;  ///< at least one; ascending, and they do not touch

    friend bool operator==(const RowRuns&, const RowRuns&) = default;
};

/// Columns and rows of a grid, both ends in.
struct GridBounds {
    unsigned left, top, right, bottom;
};

/// One byte a pixel, 255 inside the mask and 0 outside.
struct MaskBitmap {
    unsigned width;
    unsigned height;
    std::vector<std::uint8_t> pixels;

    [[nodiscard]] bool at(unsigned x, unsigned y) const { return pixels[std::size_t{y} * width + x] != 0; }
};

/// What a mask holds, as runs of columns for each row of its grid. It never changes, so any number of threads may read
/// it. The library's Mask is another thing: whoever reads one sets the size of the pixels in which it answers.
class Region {
public:
    Region() = default;  ///< no pixels
    /// What `mask` holds, on its own grid.
    explicit Region(Mask mask);
    /// `rows` ascend.
    Region(std::vector<RowRuns> rows, float pixel_size_um);

    /// The rows that hold pixels, ascending.
    [[nodiscard]] const std::vector<RowRuns>& rows() const { return rows_with_pixels; }
    /// The runs of row `y`; none if the row holds no pixels.
    [[nodiscard]] std::span<const ColumnRun> row(unsigned y) const;
    /// Micrometres from pixel to pixel of the grid. A region without pixels need not have it; it is 0 then.
    [[nodiscard]] float pixel_size_um() const { return micrometres; }

    [[nodiscard]] std::size_t area() const;  ///< pixels
    [[nodiscard]] std::optional<GridBounds> bounds() const;
    /// For a grid of width x height. Pixels beyond it are left out.
    [[nodiscard]] MaskBitmap bitmap(unsigned width, unsigned height) const;

    /// The same pixels, and the size that a region without pixels may lack.
    [[nodiscard]] Region with_pixel_size(float pixel_size_um) const;
    /// As the library takes it.
    [[nodiscard]] Mask mask() const;

    friend bool operator==(const Region&, const Region&) = default;

private:
    float micrometres = 0.0F;
    std::vector<RowRuns> rows_with_pixels;
};

/// The pixels that belong to both, on one grid.
[[nodiscard]] std::size_t common_area(const Region& a, const Region& b);

/// Twice the pixels of both by the sum of the pixels of each, on one grid (dice1945): 1 for regions that are
/// equal or both empty, 0 for regions without a common pixel.
[[nodiscard]] double dice(const Region& a, const Region& b);

/// The pixel of a grid on which pixel `v` of a picture lies, along either axis; the sizes of their pixels are in
/// micrometres. Mask::HitTest() takes the same way if its target pixel size is that of the picture. It may lead to a
/// pixel after the last one of the grid.
[[nodiscard]] unsigned grid_coordinate(unsigned v, float pixel_size_um, float grid_pixel_size_um);

[[nodiscard]] double square_millimetres(std::size_t pixels, double pixel_size_um);

}  // namespace Norvane::Host
