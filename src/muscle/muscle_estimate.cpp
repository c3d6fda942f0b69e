// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_estimate.h"

#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

namespace Norvane {
namespace {

constexpr Micrometres kTopBand{3000.0};   // this band below the top of the mask is not scanned
constexpr std::int64_t kFrameReach = 80;  // columns towards the wall in which frame may cover the muscle
constexpr int kSmoothing = 32;            // half window, rows

/// How the estimate by threshold scans: from the chest wall into the breast.
struct Scan {
    std::int64_t step;   // +1 from a wall on the left, -1 from one on the right
    std::int64_t wall;   // the mask's bound at the wall
    std::int64_t limit;  // the last column that is scanned

    [[nodiscard]] std::int64_t wall_end(std::span<const Run> runs) const {
        return step > 0 ? runs.front().first : runs.back().last;
    }
    /// `columns` towards the wall, but not beyond it.
    [[nodiscard]] std::int64_t back_from(std::int64_t x, std::int64_t columns) const {
        return step > 0 ? std::max(wall, x - columns) : std::min(wall, x + columns);
    }
};

/// The scan for a side; nothing if it is neither left nor right.
std::optional<Scan> scan_for(IMAGE_SIDE side, const Image& image, const Mask& limits, const Mask& rows) {
    const auto half_width = truncate_to<std::int64_t>(image.GetWidth() * 0.5 + 0.5);
    const std::int64_t min_x = rows.GetMinX(), max_x = rows.GetMaxX();
    switch (side) {
        case SIDE_CHEST_LEFT:
            return Scan{+1, min_x, std::min(std::max<std::int64_t>(limits.GetMaxX(), half_width), max_x)};
        case SIDE_CHEST_RIGHT:
            return Scan{-1, max_x, std::max(std::min<std::int64_t>(limits.GetMinX(), half_width), min_x)};
        default:
            return std::nullopt;
    }
}

/// The first pixel from `from` to `to`, both included, that satisfies the condition. Columns outside the image are
/// skipped.
template <class Condition>
std::optional<std::int64_t> first_column(Row<const std::uint16_t> row, std::int64_t from, std::int64_t to,
                                         std::int64_t step, Condition condition) {
    const std::int64_t last = std::ssize(row) - 1;
    from = step > 0 ? std::max<std::int64_t>(from, 0) : std::min(from, last);
    to = step > 0 ? std::min(to, last) : std::max<std::int64_t>(to, 0);
    for (std::int64_t x = from; (to - x) * step >= 0; x += step) {
        if (condition(row[x])) return x;
    }
    return std::nullopt;
}

/// Where the bright muscle ends in one row. If there is a column of frame shortly before the end, that column counts.
std::optional<std::int64_t> muscle_end(const Scan& scan, Row<const std::uint16_t> row, std::int64_t start,
                                       unsigned threshold) {
    const auto end = first_column(row, start, scan.limit, scan.step, [&](std::uint16_t p) { return p < threshold; });
    if (!end) return std::nullopt;
    const auto is_frame = [](std::uint16_t p) { return p >= Masking::P_FRAME; };
    const auto frame = first_column(row, scan.back_from(*end, kFrameReach), *end, scan.step, is_frame);
    return frame ? frame : end;
}

void add_muscle_row(const Scan& scan, std::span<const Run> runs, float column, std::int64_t y, Mask& out) {
    if (runs.empty() || !(column > 0.0F)) return;
    const auto end = truncate_to<std::int64_t>(double{column});
    const std::int64_t start = scan.wall_end(runs);
    if ((end - start) * scan.step <= 0) return;
    add_run(out, y, Interval<std::int64_t>{std::min(start, end), std::max(start, end)});
}

/// The end of the muscle in the rows up to the last of `scanned`. The rows above `scanned` repeat the first one.
std::vector<float> muscle_ends(const Scan& scan, const Image& image, const Mask& row_mask,
                               const Interval<std::int64_t>& scanned, unsigned threshold) {
    const auto [first, last] = scanned;
    std::vector<float> columns(static_cast<std::size_t>(last + 1), static_cast<float>(scan.wall));
    const Row<float> by_row{columns};
    MaskReader rows(row_mask);
    const std::int64_t end = std::min<std::int64_t>(last + 1, image.GetHeight());
    for (std::int64_t y = first; y < end; ++y) {
        const auto runs = rows.row(y);
        if (runs.empty()) continue;
        const auto row = grey_row(image, y);
        const auto column = muscle_end(scan, row, scan.wall_end(runs), threshold);
        if (column) by_row[y] = static_cast<float>(*column);
    }
    std::fill(columns.begin(), columns.begin() + first, by_row[first]);
    return columns;
}

}  // namespace

void smooth_muscle_ends(std::vector<float>& columns, int half) {
    if (half < 0) return;
    const std::size_t n = columns.size();
    const auto width = static_cast<std::size_t>(half);
    std::size_t start = 0;
    while (start < n && columns[start] == 0.0F) ++start;

    std::vector<float> smoothed(n, 0.0F);
    if (start + width < n) {
        float sum = 0.0F;
        for (std::size_t i = start; i < start + width; ++i) sum += columns[i];
        std::size_t count = width;
        for (std::size_t i = start; i < n; ++i) {
            if (i + width < n) {
                sum += columns[i + width];
                count = std::min(count + 1, 2 * width + 1);
            } else {
                --count;
            }
            if (i > width) sum -= columns[i - width - 1];
            smoothed[i] = sum / static_cast<float>(count);
        }
    }
    columns = std::move(smoothed);
}

std::unique_ptr<Mask> estimated_muscle(const Image& image, const Mask& limits, const Mask& rows,
                                       const MuscleEstimate& wanted) {
    if (rows.GetMaxX() <= rows.GetMinX() || rows.GetMaxY() <= rows.GetMinY()) return nullptr;
    const std::int64_t band = pixels_for(kTopBand, image.GetPixelSize());
    const std::int64_t first = std::max<std::int64_t>(rows.GetMinY() + band, 0);
    if (first >= wanted.last_row) return nullptr;

    auto result = std::make_unique<Mask>();
    result->SetPixelSize(limits.GetPixelSize());
    const auto scan = scan_for(wanted.side, image, limits, rows);
    if (!scan) return result;

    std::vector<float> columns = muscle_ends(*scan, image, rows, {first, wanted.last_row - 1}, wanted.threshold);
    smooth_muscle_ends(columns, kSmoothing);
    MaskReader reader(rows);
    const Row<const float> by_row{columns};
    for (std::int64_t y = first; y < wanted.last_row; ++y) add_muscle_row(*scan, reader.row(y), by_row[y], y, *result);
    return result;
}

}  // namespace Norvane
