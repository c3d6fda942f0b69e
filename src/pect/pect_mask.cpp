// SPDX-License-Identifier: Apache-2.0
// The pectoral mask for a breast mask that is known, and a simpler estimate of the muscle by a threshold.
#include <norvane/masking.h>
#include <norvane/pect_detect.h>

#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/scratch.h"
#include "model/working_image.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace Norvane {
namespace {

constexpr double kTopBand = 3000.0;       // micrometres below the top of the mask that are not scanned
constexpr std::int64_t kFrameReach = 80;  // columns towards the wall in which frame may cover the muscle
constexpr int kSmoothing = 32;            // half window, rows

Masking::MASK_STATUS status_of(PectDetect::PECT_STATUS status) {
    switch (status) {
        case PectDetect::PECT_PASS:
        case PectDetect::PECT_WEAK:
            return Masking::MASK_OK;
        case PectDetect::PECT_FAIL:
            return Masking::MASK_PECT_REJECTED;
        case PectDetect::PECT_NOT_APPLICABLE:
            return Masking::MASK_PECT_NOT_APPLICABLE;
        default:
            return Masking::MASK_PECT_FAILED;
    }
}

/// How the threshold estimate scans: from the chest wall into the breast.
struct Scan {
    std::int64_t step;   // +1 from a wall on the left, -1 from one on the right
    std::int64_t wall;   // the mask's bound at the wall
    std::int64_t limit;  // the last column that is looked at

    [[nodiscard]] std::int64_t wall_end(std::span<const Run> runs) const {
        return step > 0 ? runs.front().first : runs.back().last;
    }
    /// `columns` towards the wall, but not beyond it.
    [[nodiscard]] std::int64_t back_from(std::int64_t x, std::int64_t columns) const {
        return step > 0 ? std::max(wall, x - columns) : std::min(wall, x + columns);
    }
};

/// Nothing for a side that is neither left nor right.
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

/// The first pixel from `from` to `to`, both looked at, that satisfies the condition. Columns outside are passed over.
template <class Condition>
std::optional<std::int64_t> first_column(std::span<const std::uint16_t> row, std::int64_t from, std::int64_t to,
                                         std::int64_t step, Condition condition) {
    const auto last = static_cast<std::int64_t>(row.size()) - 1;
    from = step > 0 ? std::max<std::int64_t>(from, 0) : std::min(from, last);
    to = step > 0 ? std::min(to, last) : std::max<std::int64_t>(to, 0);
    for (std::int64_t x = from; (to - x) * step >= 0; x += step) {
        if (condition(row[static_cast<std::size_t>(x)])) return x;
    }
    return std::nullopt;
}

/// Where the bright muscle ends in one row; a column of frame shortly before the end takes its place.
std::optional<std::int64_t> muscle_end(const Scan& scan, std::span<const std::uint16_t> row, std::int64_t start,
                                       unsigned threshold) {
    const auto end = first_column(row, start, scan.limit, scan.step, [&](std::uint16_t p) { return p < threshold; });
    if (!end) return std::nullopt;
    const auto is_frame = [](std::uint16_t p) { return p >= Masking::P_FRAME; };
    const auto frame = first_column(row, scan.back_from(*end, kFrameReach), *end, scan.step, is_frame);
    return frame ? frame : end;
}

void add_muscle_row(const Scan& scan, std::span<const Run> runs, float column, unsigned y, Mask& out) {
    if (runs.empty() || !(column > 0.0F)) return;
    const auto end = truncate_to<std::int64_t>(static_cast<double>(column));
    const std::int64_t start = scan.wall_end(runs);
    if ((end - start) * scan.step <= 0) return;
    const std::int64_t first = std::min(start, end);
    out.AddSegment(y, static_cast<unsigned>(first), static_cast<unsigned>(std::max(start, end) - first));
}

/// The muscle's end in the rows 0 .. last - 1; the rows above `first` continue the first one that was scanned.
std::vector<float> muscle_ends(const Scan& scan, const Image& image, const Mask& row_mask, std::int64_t first,
                               std::int64_t last, unsigned threshold) {
    std::vector<float> columns(static_cast<std::size_t>(last), static_cast<float>(scan.wall));
    MaskReader rows(row_mask);
    const std::int64_t end = std::min<std::int64_t>(last, image.GetHeight());
    for (std::int64_t y = first; y < end; ++y) {
        const auto runs = rows.row(static_cast<unsigned>(y));
        if (runs.empty()) continue;
        const auto row = grey_row(image, static_cast<unsigned>(y));
        const auto column = muscle_end(scan, row, scan.wall_end(runs), threshold);
        if (column) columns[static_cast<std::size_t>(y)] = static_cast<float>(*column);
    }
    std::fill(columns.begin(), columns.begin() + first, columns[static_cast<std::size_t>(first)]);
    return columns;
}

}  // namespace

Masking::MASK_STATUS Masking::GeneratePectMask(Image* image, Mask* breast, Params p, Mask* pect, Mask* frame) {
    update_params(p);
    GarbageList scratch;
    if (frame == nullptr) frame = make_scratch<Mask>(scratch);
    if (MaskReader::is_empty(*frame) && GenerateFrameMask(image, p, frame, true) != MASK_OK) return MASK_NO_MASK;
    PectDetect detector;
    return status_of(detector.PectSegGenerate(image, breast, frame, p.side, p.view, pect));
}

Mask* Masking::generate_pect(Image* image, Mask*& limitMask, Mask*& rowMask) {
    if (params.view == VIEW_NO_PECT || !is_usable(image) || limitMask == nullptr || rowMask == nullptr) return nullptr;
    if (contourState == nullptr || MaskReader::is_empty(*rowMask)) return nullptr;
    if (rowMask->GetMaxX() <= rowMask->GetMinX() || rowMask->GetMaxY() <= rowMask->GetMinY()) return nullptr;

    const std::int64_t band = pixels_for(kTopBand, image->GetPixelSize());
    const std::int64_t first = std::max<std::int64_t>(rowMask->GetMinY() + band, 0);
    const std::int64_t last = contourState->centreRow;
    if (first >= last) return nullptr;

    auto result = std::make_unique<Mask>();
    result->SetPixelSize(limitMask->GetPixelSize());
    const auto scan = scan_for(params.side, *image, *limitMask, *rowMask);
    if (!scan) return result.release();

    std::vector<float> columns = muscle_ends(*scan, *image, *rowMask, first, last, contourState->tissueThreshold);
    smooth_line(columns, kSmoothing);
    MaskReader rows(*rowMask);
    for (std::int64_t y = first; y < last; ++y) {
        const auto row = static_cast<unsigned>(y);
        add_muscle_row(*scan, rows.row(row), columns[static_cast<std::size_t>(y)], row, *result);
    }
    return result.release();
}

}  // namespace Norvane
