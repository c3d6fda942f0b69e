// SPDX-License-Identifier: Apache-2.0
#include "export/grey_range.h"

#include <cmath>

namespace Norvane::Host {

// Preparation scales the used bits to 16. If tissue is dark in the source, it also inverts the grey levels.
GreyRange grey_range_of(const SourceImage& source) {
    const GreyRange all;
    if (!source.window || source.window->value.width <= 0.0) return all;
    const double scale = all.white / std::ldexp(1.0, static_cast<int>(source.used_bits));
    const auto [centre, width] = source.window->value;
    const double low = (centre - width / 2.0) * scale;
    const double high = (centre + width / 2.0) * scale;
    const GreyRange range =
        source.needs_inversion ? GreyRange{all.white - high, all.white - low} : GreyRange{low, high};
    return range.black < all.white && range.white > all.black ? range : all;
}

}  // namespace Norvane::Host
