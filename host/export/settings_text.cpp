// SPDX-License-Identifier: Apache-2.0
#include "export/settings_text.h"

#include "io/number_text.h"

namespace Norvane::Host {

std::vector<std::string> settings_text(const Findings& findings) {
    const ImageSettings& settings = findings.settings;
    const SourceImage& source = findings.source;
    const Image& prepared = findings.working_image();
    std::vector<std::string> lines = {
        std::string("Chest wall ") + name_of(settings.side.value) + ": " + settings.side.from,
        std::string("View ") + name_of(settings.view.value) + ": " + settings.view.from,
        std::string("Noise class ") + name_of(settings.noise.value) + ": " + settings.noise.from,
        "Pixel size " + number_text(settings.pixel_size_um.value) + " um: " + settings.pixel_size_um.from,
        source.format + ", " + std::to_string(source.width) + " x " + std::to_string(source.height) + " pixels of " +
            std::to_string(source.used_bits) + " bits; working grid " + std::to_string(prepared.GetWidth()) + " x " +
            std::to_string(prepared.GetHeight())};
    const SourceBox& crop = findings.crop();
    if (crop.width != source.width || crop.height != source.height)
        lines.push_back("Film area " + std::to_string(crop.width) + " x " + std::to_string(crop.height) + " at (" +
                        std::to_string(crop.x) + ", " + std::to_string(crop.y) + "): " + settings.crop.from);
    return lines;
}

}  // namespace Norvane::Host
