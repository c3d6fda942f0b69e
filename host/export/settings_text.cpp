// SPDX-License-Identifier: Apache-2.0
#include "export/settings_text.h"

#include "findings/chest_wall_side.h"
#include "findings/noise_choice.h"
#include "io/number_text.h"

namespace Norvane::Host {

std::vector<std::string> settings_text(const ImageAnalysis& analysis) {
    const ImageSettings& settings = analysis.settings;
    const SourceImage& source = analysis.source;
    const Image& prepared = *analysis.prepared.image;
    std::vector<std::string> lines = {
        std::string("Chest wall ") + name_of(settings.side) + ": " + settings.side_reason,
        std::string("View ") + name_of(settings.view) + ": " + settings.view_reason,
        std::string("Noise class ") + name_of(settings.noise) + ": " + settings.noise_reason,
        "Pixel size " + number_text(settings.pixel_size_um) + " um: " + settings.pixel_size_reason,
        source.format + ", " + std::to_string(source.width) + " x " + std::to_string(source.height) + " pixels of " +
            std::to_string(source.used_bits) + " bits; working grid " + std::to_string(prepared.GetWidth()) + " x " +
            std::to_string(prepared.GetHeight())};
    const SourceBox& crop = analysis.crop;
    if (crop.width != source.width || crop.height != source.height)
        lines.push_back("Film area " + std::to_string(crop.width) + " x " + std::to_string(crop.height) + " at (" +
                        std::to_string(crop.x) + ", " + std::to_string(crop.y) + "): " + settings.crop_reason);
    return lines;
}

}  // namespace Norvane::Host
