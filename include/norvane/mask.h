// SPDX-License-Identifier: Apache-2.0
/// The binary region that every mask operation reads and writes. Only one thread at a time may use an object.
#pragma once

#include <norvane/export.h>
#include <norvane/garbage_list.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Norvane {

class Image;

/// A set of pixels, kept as runs of columns per row.
///
/// A mask has two grids. Runs are stored in the mask grid, whose pixels have `pixelSize` micrometres. Callers read in
/// the target grid, whose pixels have `targetPixelSize`. A coordinate v is converted to v * from / to + 0.5, truncated.
/// If the target pixel size is not positive, it stays unchanged. To read a mask in its own grid, call
/// SetTargetPixelSize(GetPixelSize()).
///
/// Both ends of a run belong to the mask. Runs of one row never overlap or touch, because AddSegment() joins them.
/// Errors: none are reported, and rows without pixels read as empty. If an allocation fails, std::bad_alloc is thrown.
class NORVANE_API Mask : public GarbageItem, public LeaksFinder {
public:
    /// An empty mask. Both pixel sizes are 0.
    Mask();
    /// Copies are deep.
    Mask(const Mask& other);
    Mask& operator=(const Mask& other);
    ~Mask() override;

    /// Removes all pixels and sets both pixel sizes to 0. Set them again afterwards.
    void Clear() override;

    void SetPixelSize(float micrometres) { pixelSize = micrometres; }
    [[nodiscard]] float GetPixelSize() const { return pixelSize; }
    void SetTargetPixelSize(float micrometres) { targetPixelSize = micrometres; }
    [[nodiscard]] float GetTargetPixelSize() const { return targetPixelSize; }

    /// Bounds in the target grid, both included. They cover everything that was ever added. If the mask is empty, in
    /// its own grid the smallest is 0xFFFFFFFF and the largest 0.
    [[nodiscard]] unsigned GetMinX() const;
    [[nodiscard]] unsigned GetMaxX() const;
    [[nodiscard]] unsigned GetMinY() const;
    [[nodiscard]] unsigned GetMaxY() const;

    /// Adds the columns start .. start + extent of `row` in the mask grid; extent 0 is one pixel. Runs that overlap or
    /// touch become one:   ..###.##..   AddSegment(row, 5, 0)   ..######..
    void AddSegment(unsigned row, unsigned start, unsigned extent);

    /// Returns the runs of `row` as a new array start0, end0, start1, end1, ... of 2 * count values. All numbers are in
    /// the target grid. The caller owns the array and releases it with ClearSegments() or
    /// GarbageList::AddGeneralItem(). If the row has no pixels, count is 0 and the array null.
    void GetSegments(unsigned row, unsigned& count, unsigned*& pairs) const;
    /// Releases an array from GetSegments() and sets the pointer to null.
    void ClearSegments(unsigned*& pairs) const;

    /// Whether pixel (x, y) of the target grid belongs to the mask.
    [[nodiscard]] bool HitTest(unsigned x, unsigned y) const;

    /// Computes the median column and row in the target grid. The last column of each run is not counted. Returns
    /// false, with 0 and 0, if the mask is empty.
    bool ComputeCentroid(unsigned& x, unsigned& y) const;

    /// Adds the closed polygon x0, y0, x1, y1, ... to the pixels of the mask and returns the sum of the added extents.
    /// Coordinates are in the mask grid and must not be negative; an unpaired last value is ignored. Without vertices,
    /// adds nothing and returns 0. The other two arguments are not read. The method is scan conversion with an active
    /// edge list [foley1990].
    int GenerateFromClosedPolygon(std::vector<int> points, Mask* unusedMask, Image* unusedImage);

    /// Writes sample points "x,y" of the mask, one per line: every fifth column of the runs of every fifth row in the
    /// target grid. An existing file is replaced. If the file cannot be opened, nothing is written and nothing
    /// reported.
    void DumpToCSV(std::string file) const;

protected:
    /// Sets pixel sizes and bounds to the values of an empty mask. The rows stay.
    void init();

    [[nodiscard]] unsigned mask_to_target(unsigned v) const;
    [[nodiscard]] unsigned target_to_mask(unsigned v) const;

    /// Neighbouring columns of a row, both included.
    struct Columns {
        unsigned first, last;
    };
    /// The runs of a row in ascending order, at least one. Most rows have one, which needs no memory of its own.
    class Runs {
    public:
        explicit Runs(Columns run) : only(run) {}
        /// Adds a run and joins those that overlap or touch it. If an allocation fails, nothing changes.
        void add(Columns run);
        [[nodiscard]] const Columns* begin() const { return several.empty() ? &only : several.data(); }
        [[nodiscard]] const Columns* end() const { return begin() + size(); }
        [[nodiscard]] std::size_t size() const { return several.empty() ? 1 : several.size(); }

    private:
        Columns only;                  // the one run, if `several` is empty
        std::vector<Columns> several;  // otherwise all runs
    };

    float pixelSize = 0.0F;
    float targetPixelSize = 0.0F;
    unsigned minX = 0xFFFFFFFFU;
    unsigned maxX = 0;
    unsigned minY = 0xFFFFFFFFU;
    unsigned maxY = 0;
    std::map<unsigned, Runs> rows;

    friend class MaskReader;  // the library uses it to read rows without an array per row
};

}  // namespace Norvane
