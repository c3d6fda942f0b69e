// SPDX-License-Identifier: Apache-2.0
#include "export/source_masks.h"

#include <algorithm>

namespace Norvane::Host {
namespace {

/// The grid coordinates for the source coordinates 0 .. count - 1, in ascending order.
std::vector<unsigned> grid_coordinates(unsigned count, double pixel_size_um, float grid_pixel_size_um) {
    std::vector<unsigned> in_grid(count);
    for (unsigned v = 0; v < count; ++v) {
        in_grid[v] = grid_coordinate(v, static_cast<float>(pixel_size_um), grid_pixel_size_um);
    }
    return in_grid;
}

/// The source coordinates first .. end - 1 that lie on a run of the mask.
struct Stretch {
    unsigned first;
    unsigned end;
};
Stretch stretch_of(const std::vector<unsigned>& in_mask, unsigned first, unsigned last) {
    const auto from = std::ranges::lower_bound(in_mask, first);
    const auto to = std::upper_bound(from, in_mask.end(), last);
    return {static_cast<unsigned>(from - in_mask.begin()), static_cast<unsigned>(to - in_mask.begin())};
}

}  // namespace

SourceMask::SourceMask(const Region& region, const SourceBox& box, double pixel_size_um) : crop(box), rows(box.height) {
    if (region.rows().empty()) return;
    const std::vector<unsigned> mask_columns = grid_coordinates(crop.width, pixel_size_um, region.pixel_size_um());
    const std::vector<unsigned> mask_rows = grid_coordinates(crop.height, pixel_size_um, region.pixel_size_um());
    for (const RowRuns& line : region.rows()) {
        const std::size_t before = runs.size();
        for (const ColumnRun& run : line.runs) {
            const Stretch columns = stretch_of(mask_columns, run.first, run.last);
            if (columns.first < columns.end) runs.push_back({crop.x + columns.first, crop.x + columns.end - 1});
        }
        const Stretch shown = stretch_of(mask_rows, line.row, line.row);
        std::fill(rows.begin() + shown.first, rows.begin() + shown.end, RowPart{before, runs.size() - before});
    }
}

std::span<const ColumnRun> SourceMask::row(unsigned y) const {
    if (y < crop.y || y - crop.y >= crop.height) return {};
    const RowPart& part = rows[y - crop.y];
    return std::span(runs).subspan(part.first, part.count);
}

LabelImage::LabelImage(const Findings& findings)
    : source_width(findings.source.width),
      source_height(findings.source.height),
      breast_mask(findings.masks.breast.region, findings.crop(), findings.settings.pixel_size_um.value),
      muscle_mask(findings.masks.muscle(), findings.crop(), findings.settings.pixel_size_um.value) {}

void LabelImage::fill_row(unsigned y, std::span<std::uint8_t> row) const {
    std::ranges::fill(row, kLabelNothing);
    const auto paint = [row](const ColumnRun& run, SourceLabel label) {
        std::ranges::fill(row.subspan(run.first, run.last - run.first + 1), label);
    };
    for (const ColumnRun& run : breast_mask.row(y)) paint(run, kLabelTissue);
    for (const ColumnRun& run : muscle_mask.row(y)) paint(run, kLabelMuscle);
}

SourceBox LabelImage::labelled_box() const {
    unsigned left = source_width, right = 0, top = source_height, bottom = 0;
    for (unsigned y = 0; y < source_height; ++y) {
        for (const SourceMask* mask : {&breast_mask, &muscle_mask}) {
            const std::span<const ColumnRun> runs = mask->row(y);
            if (runs.empty()) continue;
            left = std::min(left, runs.front().first);
            right = std::max(right, runs.back().last);
            top = std::min(top, y);
            bottom = y;
        }
    }
    if (top == source_height) return {0, 0, source_width, source_height};
    return {left, top, right - left + 1, bottom - top + 1};
}

}  // namespace Norvane::Host
