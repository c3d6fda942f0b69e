// SPDX-License-Identifier: Apache-2.0
/// The binary region that every mask operation reads and writes. One thread at a time per object.
#pragma once

#include <norvane/export.h>
#include <norvane/garbage_list.h>

#include <map>
#include <string>
#include <vector>

namespace Norvane {

class Image;

/// A set of pixels, kept as runs of columns per row.
///
/// A mask has two grids. Runs are stored in the mask grid, of `pixelSize` micrometres; callers read in the target grid,
/// of `targetPixelSize`. A coordinate v becomes v * from / to + 0.5, truncated; without a positive target pixel size it
/// stays as it is. To read a mask in its own grid, SetTargetPixelSize(GetPixelSize()).
///
/// Both ends of a run belong to the mask. Runs of one row never overlap or touch: AddSegment() joins them.
/// Errors: none is reported; rows without pixels read as empty. Allocation failures throw std::bad_alloc.
class NORVANE_API Mask : public GarbageItem, public LeaksFinder {
public:
    /// Empty, both pixel sizes 0.
    Mask();
    /// Deep copies.
    Mask(const Mask& other);
    Mask& operator=(const Mask& other);
    ~Mask() override;

    /// Removes all pixels and sets both pixel sizes to 0: set them again afterwards.
    void Clear() override;

    void SetPixelSize(float micrometres) { pixelSize = micrometres; }
    [[nodiscard]] float GetPixelSize() const { return pixelSize; }
    void SetTargetPixelSize(float micrometres) { targetPixelSize = micrometres; }
    [[nodiscard]] float GetTargetPixelSize() const { return targetPixelSize; }

    /// Bounds in the target grid, both ends inclusive. They cover everything ever added. In its own grid an empty mask
    /// answers 0xFFFFFFFF for the smallest and 0 for the largest.
    [[nodiscard]] unsigned GetMinX() const;
    [[nodiscard]] unsigned GetMaxX() const;
    [[nodiscard]] unsigned GetMinY() const;
    [[nodiscard]] unsigned GetMaxY() const;

    /// Adds the columns start .. start + extent of `row` (mask grid; extent 0 is one pixel). Runs that overlap or touch
    /// become one:   ..###.##..   AddSegment(row, 5, 0)   ..######..
    void AddSegment(unsigned row, unsigned start, unsigned extent);

    /// The runs of `row` (target grid) as a new array start0, end0, start1, end1, ... of 2 * count values (target
    /// grid). The caller owns it and releases it with ClearSegments() or by GarbageList::AddGeneralItem(). A row
    /// without pixels gives count 0 and null.
    void GetSegments(unsigned row, unsigned& count, unsigned*& pairs) const;
    /// Releases an array of GetSegments() and sets the pointer to null.
    void ClearSegments(unsigned*& pairs) const;

    /// Whether pixel (x, y) of the target grid belongs to the mask.
    [[nodiscard]] bool HitTest(unsigned x, unsigned y) const;

    /// Median column and row (target grid), the last column of each run not counted; false and 0, 0 for an empty mask.
    bool ComputeCentroid(unsigned& x, unsigned& y) const;

    /// Fills the closed polygon x0, y0, x1, y1, ... (mask grid, not negative; a trailing odd value is ignored) and
    /// returns the sum of the extents added. Pixels are added to those that the mask holds. No vertex adds nothing and
    /// gives 0. The other two arguments are not read. Scan conversion with an active edge list [foley1990].
    int GenerateFromClosedPolygon(std::vector<int> points, Mask* unusedMask, Image* unusedImage);

    /// Writes sample points "x,y" of the mask, every fifth column of the runs of every fifth row (target grid), one a
    /// line. An existing file is replaced; a file that cannot be opened is passed over in silence.
    void DumpToCSV(std::string file) const;

protected:
    /// Pixel sizes and bounds to their empty values; the rows stay.
    void init();

    [[nodiscard]] unsigned mask_to_target(unsigned v) const;
    [[nodiscard]] unsigned target_to_mask(unsigned v) const;

    using Runs = std::map<unsigned, unsigned>;  // first column -> last column

    float pixelSize = 0.0F;
    float targetPixelSize = 0.0F;
    unsigned minX = 0xFFFFFFFFU;
    unsigned maxX = 0;
    unsigned minY = 0xFFFFFFFFU;
    unsigned maxY = 0;
    std::map<unsigned, Runs> rows;

    friend class MaskReader;  // the library's own way to read rows without an array per row
};

}  // namespace Norvane
