// SPDX-License-Identifier: Apache-2.0
#include "export/source_masks.h"

#include <algorithm>

namespace Norvane::Host {
namespace {

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

GridPlacement placement_of(const Findings& findings) {
    const Image& image = findings.working_image();
    return {findings.crop(), findings.settings.pixel_size_um.value, image.GetWidth(), image.GetHeight()};
}

std::vector<unsigned> grid_coordinates(unsigned count, double pixel_size_um, float grid_pixel_size_um,
                                       unsigned grid_count) {
    std::vector<unsigned> in_grid(count);
    for (unsigned v = 0; v < count; ++v) {
        const unsigned nearest = grid_coordinate(v, static_cast<float>(pixel_size_um), grid_pixel_size_um);
        in_grid[v] = std::min(nearest, grid_count - 1);
    }
    if (count > 0 && grid_count != GridPlacement::kEndless) in_grid.back() = grid_count - 1;
    return in_grid;
}

SourceMask::SourceMask(const Region& region, const GridPlacement& grid) : crop(grid.crop), rows(grid.crop.height) {
    if (region.rows().empty()) return;
    const auto in_mask = [&](unsigned count, unsigned grid_count) {
        return grid_coordinates(count, grid.pixel_size_um, region.pixel_size_um(), grid_count);
    };
    const std::vector<unsigned> mask_columns = in_mask(crop.width, grid.columns);
    const std::vector<unsigned> mask_rows = in_mask(crop.height, grid.rows);
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
      breast_mask(findings.masks.breast.region, placement_of(findings)),
      muscle_mask(findings.masks.muscle(), placement_of(findings)) {}

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

SourceBox breast_window(const Findings& findings) { return LabelImage(findings).labelled_box(); }

}  // namespace Norvane::Host
