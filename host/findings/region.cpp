// SPDX-License-Identifier: Apache-2.0
#include "findings/region.h"

#include <norvane/garbage_list.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace Norvane::Host {

Region::Region(Mask mask) : micrometres(mask.GetPixelSize()) {
    mask.SetTargetPixelSize(mask.GetPixelSize());
    const unsigned last = mask.GetMaxY();
    for (unsigned y = mask.GetMinY(); y <= last; ++y) {
        unsigned count = 0;
        unsigned* pairs = nullptr;
        GarbageList arrays;
        mask.GetSegments(y, count, pairs);
        arrays.AddGeneralItem(pairs);
        if (count == 0) continue;
        RowRuns& row = rows_with_pixels.emplace_back(RowRuns{y, {}});
        for (const unsigned* pair = pairs; pair != pairs + 2 * std::size_t{count}; pair += 2) {
            row.runs.push_back({pair[0], pair[1]});
        }
    }
}

Region::Region(std::vector<RowRuns> rows, float pixel_size_um)
    : micrometres(pixel_size_um), rows_with_pixels(std::move(rows)) {}

std::span<const ColumnRun> Region::row(unsigned y) const {
    const auto found = std::ranges::lower_bound(rows_with_pixels, y, {}, &RowRuns::row);
    if (found == rows_with_pixels.end() || found->row != y) return {};
    return found->runs;
}

std::size_t Region::area() const {
    std::size_t area = 0;
    for (const RowRuns& row : rows_with_pixels) {
        for (const ColumnRun& run : row.runs) area += std::size_t{run.last} - run.first + 1;
    }
    return area;
}

std::optional<GridBounds> Region::bounds() const {
    if (rows_with_pixels.empty()) return std::nullopt;
    GridBounds bounds{std::numeric_limits<unsigned>::max(), rows_with_pixels.front().row, 0,
                      rows_with_pixels.back().row};
    for (const RowRuns& row : rows_with_pixels) {
        bounds.left = std::min(bounds.left, row.runs.front().first);
        bounds.right = std::max(bounds.right, row.runs.back().last);
    }
    return bounds;
}

MaskBitmap Region::bitmap(unsigned width, unsigned height) const {
    MaskBitmap bitmap{width, height, std::vector<std::uint8_t>(std::size_t{width} * height)};
    for (const RowRuns& row : rows_with_pixels) {
        if (row.row >= height) break;
        const std::span line(&bitmap.pixels[std::size_t{row.row} * width], width);
        for (const ColumnRun& run : row.runs) {
            if (run.first >= width) break;
            const unsigned last = std::min(run.last, width - 1);
            std::ranges::fill(line.subspan(run.first, last - run.first + 1), std::uint8_t{255});
        }
    }
    return bitmap;
}

Region Region::with_pixel_size(float pixel_size_um) const { return {rows_with_pixels, pixel_size_um}; }

Mask Region::mask() const {
    Mask mask;
    mask.SetPixelSize(micrometres);
    mask.SetTargetPixelSize(micrometres);
    for (const RowRuns& row : rows_with_pixels) {
        for (const ColumnRun& run : row.runs) mask.AddSegment(row.row, run.first, run.last - run.first);
    }
    return mask;
}

std::size_t common_area(const Region& a, const Region& b) {
    std::size_t both = 0;
    for (const RowRuns& row : a.rows()) {
        const std::span<const ColumnRun> others = b.row(row.row);
        auto other = others.begin();
        for (auto run = row.runs.begin(); run != row.runs.end() && other != others.end();) {
            const unsigned first = std::max(run->first, other->first);
            const unsigned last = std::min(run->last, other->last);
            if (first <= last) both += std::size_t{last} - first + 1;
            if (run->last < other->last) {
                ++run;
            } else {
                ++other;
            }
        }
    }
    return both;
}

double dice(const Region& a, const Region& b) {
    const std::size_t sum = a.area() + b.area();
    return sum > 0 ? 2.0 * static_cast<double>(common_area(a, b)) / static_cast<double>(sum) : 1.0;
}

Region united(const Region& a, const Region& b) {
    if (a.rows().empty() || b.rows().empty()) return a.rows().empty() ? b : a;
    std::vector<RowRuns> rows;
    const unsigned last = std::max(a.rows().back().row, b.rows().back().row);
    for (unsigned y = std::min(a.rows().front().row, b.rows().front().row); y <= last; ++y) {
        std::vector<ColumnRun> runs(a.row(y).begin(), a.row(y).end());
        runs.insert(runs.end(), b.row(y).begin(), b.row(y).end());
        if (runs.empty()) continue;
        std::ranges::sort(runs, {}, &ColumnRun::first);
        RowRuns row{y, {runs.front()}};
        for (const ColumnRun& run : runs) {
            if (run.first <= row.runs.back().last + 1) {
                row.runs.back().last = std::max(row.runs.back().last, run.last);
            } else {
                row.runs.push_back(run);
            }
        }
        rows.push_back(std::move(row));
    }
    return {std::move(rows), a.pixel_size_um()};
}

unsigned grid_coordinate(unsigned v, float pixel_size_um, float grid_pixel_size_um) {
    if (pixel_size_um == grid_pixel_size_um) return v;
    const double exact =
        static_cast<double>(v) * static_cast<double>(pixel_size_um) / static_cast<double>(grid_pixel_size_um) + 0.5;
    constexpr double kMost = std::numeric_limits<unsigned>::max();
    return exact > 0.0 ? static_cast<unsigned>(std::min(exact, kMost)) : 0;
}

double square_millimetres(std::size_t pixels, double pixel_size_um) {
    constexpr double kMicrometresPerMillimetre = 1000.0;
    const double millimetres = pixel_size_um / kMicrometresPerMillimetre;
    return static_cast<double>(pixels) * millimetres * millimetres;
}

}  // namespace Norvane::Host
