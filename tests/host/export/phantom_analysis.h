// SPDX-License-Identifier: Apache-2.0
/// A whole analysis to write results of.
#pragma once

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

/// What belongs to a mask by definition: HitTest() with the source's pixel size, from the corner of the crop on.
class HitTester {
public:
    HitTester(const Host::Region& region, const Host::SourceBox& box, double pixel_size_um)
        : mask(region.mask()), crop(box) {
        mask.SetTargetPixelSize(static_cast<float>(pixel_size_um));
    }
    [[nodiscard]] bool at(unsigned x, unsigned y) const {
        const bool is_inside = x >= crop.x && y >= crop.y && x - crop.x < crop.width && y - crop.y < crop.height;
        return is_inside && mask.HitTest(x - crop.x, y - crop.y);
    }

private:
    Mask mask;
    Host::SourceBox crop;
};

/// 0, 1 or 2 for a pixel of the source.
class LabelTester {
public:
    explicit LabelTester(const Host::Findings& findings)
        : breast(findings.masks.breast.region, findings.crop(), findings.settings.pixel_size_um.value),
          muscle(findings.masks.pectoral.region, findings.crop(), findings.settings.pixel_size_um.value) {}
    [[nodiscard]] unsigned at(unsigned x, unsigned y) const {
        return muscle.at(x, y) ? 2U : static_cast<unsigned>(breast.at(x, y));
    }

private:
    HitTester breast, muscle;
};

}  // namespace Norvane::Tests
