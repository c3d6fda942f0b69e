// SPDX-License-Identifier: Apache-2.0
#include "findings/image_rows.h"

#include <norvane/garbage_list.h>

#include <algorithm>

namespace Norvane::Host {

std::vector<RowRuns> rows_of(Mask& mask) {
    mask.SetTargetPixelSize(mask.GetPixelSize());
    std::vector<RowRuns> rows;
    const unsigned first = mask.GetMinY();
    const unsigned last = mask.GetMaxY();
    for (unsigned y = first; y <= last; ++y) {
        unsigned count = 0;
        unsigned* pairs = nullptr;
        GarbageList arrays;
        mask.GetSegments(y, count, pairs);
        arrays.AddGeneralItem(pairs);
        if (count == 0) continue;
        RowRuns& row = rows.emplace_back(RowRuns{y, {}});
        for (const unsigned* pair = pairs; pair != pairs + 2 * std::size_t{count}; pair += 2) {
            row.runs.push_back({pair[0], pair[1]});
        }
    }
    return rows;
}

MaskBitmap bitmap_of(Mask& mask, unsigned width, unsigned height) {
    MaskBitmap bitmap{width, height, std::vector<std::uint8_t>(std::size_t{width} * height)};
    for (const RowRuns& row : rows_of(mask)) {
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

std::size_t area_of(Mask& mask) {
    std::size_t area = 0;
    for (const RowRuns& row : rows_of(mask)) {
        for (const ColumnRun& run : row.runs) area += std::size_t{run.last} - run.first + 1;
    }
    return area;
}

}  // namespace Norvane::Host
