// SPDX-License-Identifier: Apache-2.0
#include "findings/areas.h"

#include <fmt/core.h>

namespace Norvane::Host {

BreastAreas areas_of(const Region& breast, const Region& muscle, const Region& joined) {
    // A region without pixels may lack a pixel size.
    const auto square_mm = [](std::size_t pixels, const Region& region) {
        return square_millimetres(pixels, static_cast<double>(region.pixel_size_um()));
    };
    return {square_mm(breast.area() - common_area(breast, muscle), breast), square_mm(muscle.area(), muscle),
            square_mm(joined.area(), joined)};
}

BreastAreas areas_of(const Findings& findings) {
    const FoundMasks& masks = findings.masks;
    return areas_of(masks.breast.region, masks.pectoral.region, masks.full.region);
}

std::string areas_text(const BreastAreas& areas) {
    std::string text = "Areas:";
    const char* separator = " ";
    for (const AreaDeclaration& area : kAreas) {
        text += separator + std::string(area.label) + " " + area_text(areas.*area.value);
        separator = ", ";
    }
    return text;
}

std::string area_text(double square_millimetres) {
    constexpr double kMm2PerCm2 = 100.0;
    return fmt::format("{:.1f} cm\u00b2", square_millimetres / kMm2PerCm2);
}

}  // namespace Norvane::Host
