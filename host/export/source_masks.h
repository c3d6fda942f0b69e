// SPDX-License-Identifier: Apache-2.0
/// Brings the masks to the pixels of the source.
#pragma once

#include "findings/findings.h"
#include "findings/region.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Norvane::Host {

/// A mask on the pixels of the source. A pixel belongs to it if Mask::HitTest() says so with the pixel size of the
/// source as its target. Kept as columns per row, which needs no more memory than the mask itself.
class SourceMask {
public:
    /// Pixel (0, 0) of the mask lies at the corner of `box`, the crop. No pixel outside `box` belongs to the mask.
    SourceMask(const Region& region, const SourceBox& box, double pixel_size_um);

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

}  // namespace Norvane::Host
