// SPDX-License-Identifier: Apache-2.0
#include "export/settings_text.h"

#include "io/number_text.h"

#include <fmt/core.h>

namespace Norvane::Host {

std::vector<std::string> settings_text(const Findings& findings) {
    const ImageSettings& settings = findings.settings;
    const SourceImage& source = findings.source;
    const Image& prepared = findings.working_image();
    std::vector<std::string> lines = {
        fmt::format("Chest wall {}: {}", name_of(settings.side.value), settings.side.from),
        fmt::format("View {}: {}", name_of(settings.view.value), settings.view.from),
        fmt::format("Noise class {}: {}", name_of(settings.noise.value), settings.noise.from),
        fmt::format("Pixel size {} um: {}", number_text(settings.pixel_size_um.value), settings.pixel_size_um.from),
        fmt::format("{}{}{}, {} x {} pixels of {} bits; working grid {} x {}", source.format,
                    source.encoding.empty() ? "" : ", ", source.encoding, source.width, source.height, source.used_bits,
                    prepared.GetWidth(), prepared.GetHeight())};
    const SourceBox& crop = findings.crop();
    if (crop.width != source.width || crop.height != source.height) {
        lines.push_back(fmt::format("Film area {} x {} at ({}, {}): {}", crop.width, crop.height, crop.x, crop.y,
                                    settings.crop.from));
    }
    return lines;
}

}  // namespace Norvane::Host
