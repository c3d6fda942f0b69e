// SPDX-License-Identifier: Apache-2.0
/// Brings the masks to the pixels of the source.
#pragma once

#include "findings/findings.h"
#include "findings/region.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Norvane::Host {

/// How a working grid lies on the pixels of a source.
struct GridPlacement {
    static constexpr unsigned kEndless = std::numeric_limits<unsigned>::max();

    SourceBox crop;                                ///< its corner is that of pixel (0, 0) of the grid
    double pixel_size_um;                          ///< pixel size of the source
    unsigned columns = kEndless, rows = kEndless;  ///< size of the grid; if it is known, the grid ends with the crop
};
[[nodiscard]] GridPlacement placement_of(const Findings& findings);

/// For each of `count` pixels of the crop along one axis, the pixel of the grid by grid_coordinate(), in ascending
/// order. None lies after the last of the grid's `grid_count` pixels, and the last pixel of the crop lies on that one.
[[nodiscard]] std::vector<unsigned> grid_coordinates(unsigned count, double pixel_size_um, float grid_pixel_size_um,
                                                     unsigned grid_count);

/// The pixels of the crop that lie on pixels of a mask, by grid_coordinates() along both axes. Kept as columns per row,
/// which needs no more memory than the mask itself.
class SourceMask {
public:
    /// No pixel outside the crop belongs to the mask.
    SourceMask(const Region& region, const GridPlacement& grid);

    /// The columns of source row `y` that belong to the mask, in ascending order.
    [[nodiscard]] std::span<const ColumnRun> row(unsigned y) const;

private:
    struct RowPart {
        std::size_t first = 0;
        std::size_t count = 0;
    };
    SourceBox crop;
    std::vector<ColumnRun> runs;  // the runs of all mask rows, in columns of the source
    std::vector<RowPart> rows;    // for each row of the crop, the runs that it shows
};

enum SourceLabel : std::uint8_t { kLabelNothing = 0, kLabelTissue = 1, kLabelMuscle = 2 };

/// One label for each pixel of the source: muscle if it belongs to the muscle, else breast if it belongs to the breast.
class LabelImage {
public:
    explicit LabelImage(const Findings& findings);

    [[nodiscard]] unsigned width() const { return source_width; }
    [[nodiscard]] unsigned height() const { return source_height; }
    /// Writes a SourceLabel for each pixel of row `y`.
    void fill_row(unsigned y, std::span<std::uint8_t> row) const;

    /// The smallest box around all labelled pixels. If there are none, the whole source.
    [[nodiscard]] SourceBox labelled_box() const;

    [[nodiscard]] const SourceMask& breast() const { return breast_mask; }  ///< may include muscle pixels
    [[nodiscard]] const SourceMask& muscle() const { return muscle_mask; }

private:
    unsigned source_width;
    unsigned source_height;
    SourceMask breast_mask;
    SourceMask muscle_mask;
};

/// The box around breast and muscle, in pixels of the source. If there is no mask, the whole source.
[[nodiscard]] SourceBox breast_window(const Findings& findings);

}  // namespace Norvane::Host
