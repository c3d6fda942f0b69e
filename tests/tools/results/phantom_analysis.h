// SPDX-License-Identifier: Apache-2.0
/// A whole analysis to write results of.
#pragma once

#include "analysis/image_analysis.h"
#include "phantom/phantom.h"

#include <norvane/mask.h>

#include <utility>

namespace Norvane::Tests {

/// A phantom with odd sizes, so that rows end inside bytes and words.
inline Host::ImageAnalysis analysed_phantom(IMAGE_VIEW view = VIEW_PECT, bool is_inverted = false) {
    Host::PhantomSettings settings;
    settings.width = 1001;
    settings.height = 1303;
    settings.pixel_size_um = 163.0;
    settings.view = view;
    Host::Phantom phantom = Host::draw_phantom(settings);
    Host::SourceImage source;
    source.format = "PNG";
    Host::set_size(source, settings.width, settings.height);
    source.used_bits = settings.used_bits;
    source.samples = std::move(phantom.pixels);
    source.needs_inversion = is_inverted;
    if (is_inverted) {
        for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(sample ^ 0xFFFU);
    }
    Host::AnalysisOptions options;
    options.view = view;
    options.pixel_size_um = settings.pixel_size_um;
    return Host::analyse(std::move(source), options);
}

/// What belongs to a mask by definition: HitTest() with the source's pixel size, from the corner of the crop on.
class HitTester {
public:
    HitTester(Mask hit_mask, const Host::SourceBox& box, double pixel_size_um) : mask(std::move(hit_mask)), crop(box) {
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
    explicit LabelTester(const Host::ImageAnalysis& analysis)
        : breast(analysis.masks.breast.mask, analysis.crop, analysis.settings.pixel_size_um),
          muscle(analysis.masks.pectoral.mask, analysis.crop, analysis.settings.pixel_size_um) {}
    [[nodiscard]] unsigned at(unsigned x, unsigned y) const {
        return muscle.at(x, y) ? 2U : static_cast<unsigned>(breast.at(x, y));
    }

private:
    HitTester breast, muscle;
};

}  // namespace Norvane::Tests
