// SPDX-License-Identifier: Apache-2.0
/// A whole analysis to write results of.
#pragma once

#include "export/source_masks.h"
#include "findings/findings.h"
#include "host/source_images.h"

namespace Norvane::Tests {

/// A phantom with odd sizes, so that rows end inside bytes and words.
inline Host::Findings analysed_phantom(IMAGE_VIEW view = VIEW_PECT, bool is_inverted = false) {
    const auto source = source_of(Host::draw_phantom({1001, 1303, 163.0, SIDE_CHEST_LEFT, view}));
    Host::AnalysisOptions options;
    options.pixel_size_um = source.pixel_size_um->value;
    return Host::analyse(is_inverted ? inverted(source) : source, options, "exam.png");
}

/// What belongs to a mask by definition: HitTest() with the source's pixel size, from the corner of the crop on. The
/// library's way may end after the last pixel of the grid, or before it; the last pixel of the crop lies on the last
/// one of the grid, and what leads beyond it counts as the last one as well.
class HitTester {
public:
    HitTester(const Host::Region& region, const Host::GridPlacement& placement)
        : mask(region.mask()), grid(placement), step(region.pixel_size_um()) {
        mask.SetTargetPixelSize(static_cast<float>(grid.pixel_size_um));
        own = region.mask();
    }
    [[nodiscard]] bool at(unsigned x, unsigned y) const {
        if (x < grid.crop.x || y < grid.crop.y) return false;
        const unsigned across = x - grid.crop.x, down = y - grid.crop.y;
        if (across >= grid.crop.width || down >= grid.crop.height) return false;
        if (is_in_grid(across, grid.crop.width, grid.columns) && is_in_grid(down, grid.crop.height, grid.rows)) {
            return mask.HitTest(across, down);
        }
        return own.HitTest(on_grid(across, grid.crop.width, grid.columns), on_grid(down, grid.crop.height, grid.rows));
    }

private:
    [[nodiscard]] unsigned nearest(unsigned v) const {
        return Host::grid_coordinate(v, static_cast<float>(grid.pixel_size_um), step);
    }
    [[nodiscard]] bool is_in_grid(unsigned v, unsigned count, unsigned grid_count) const {
        return v + 1 < count && nearest(v) < grid_count;
    }
    [[nodiscard]] unsigned on_grid(unsigned v, unsigned count, unsigned grid_count) const {
        return is_in_grid(v, count, grid_count) ? nearest(v) : grid_count - 1;
    }
    Mask mask, own;
    Host::GridPlacement grid;
    float step;
};

/// 0, 1 or 2 for a pixel of the source.
class LabelTester {
public:
    explicit LabelTester(const Host::Findings& findings)
        : breast(findings.masks.breast.region, Host::placement_of(findings)),
          muscle(findings.masks.pectoral.region, Host::placement_of(findings)) {}
    [[nodiscard]] unsigned at(unsigned x, unsigned y) const {
        return muscle.at(x, y) ? 2U : static_cast<unsigned>(breast.at(x, y));
    }

private:
    HitTester breast, muscle;
};

}  // namespace Norvane::Tests
