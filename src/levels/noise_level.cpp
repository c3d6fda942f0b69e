// SPDX-License-Identifier: Apache-2.0
#include "levels/noise_level.h"

#include "imaging/filter.h"
#include "imaging/ipl_bridge.h"
#include "model/grey_statistics.h"
#include "model/pixels.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Norvane {
namespace {

/// The first bin with the largest count so far, kept while several ranges are searched.
struct PeakBin {
    int bin = 0;
    int count = 0;

    void search(Row<const int> histogram, int first, int last) {
        for (int i = first; i <= last; ++i) {
            if (histogram[i] > count) {
                count = histogram[i];
                bin = i;
            }
        }
    }
};

/// Finds the background peak and returns the first bin above the noise.
int bin_above_background(Row<const int> histogram, unsigned perimeter, const NoiseClass& rules) {
    const int bins = static_cast<int>(histogram.size());
    const bool is_coarse = bins < 512;
    int limit = ((is_coarse ? 28 : 25) * bins) / 64;  // a background is not brighter than about 0.4 of the grey scale
    PeakBin peak;
    peak.search(histogram, 1, limit);

    // A background has more pixels than the border of the image. If no peak has so many, the upper half is searched
    // too.
    const auto is_thin = [&](int count) { return std::int64_t{count} < std::int64_t{perimeter}; };
    if (is_thin(histogram[0]) && is_thin(histogram[peak.bin])) {
        limit = std::min(limit + bins / 2, bins - 1);
        peak.search(histogram, bins / 2, limit);
    }

    // A maximum at the limit is a slope and not a peak. A huge number of black pixels is a clean background by itself.
    const bool is_black = std::int64_t{histogram[0]} > 10 * std::int64_t{histogram[peak.bin]};
    if (peak.bin == limit || is_black) return rules.bin_of_clean_black;
    return peak.bin + (is_coarse && peak.bin < bins / 2 ? 3 : 2);
}

}  // namespace

std::optional<GreyHistogram> grey_histogram(Image* image, int bins) {
    GreyHistogram histogram(static_cast<std::size_t>(bins));
    const int code = Filter::ComputeHisto(image, histogram.data(), bins);
    Utils::expect_memory(code);
    if (code != 0) return std::nullopt;
    return histogram;
}

GreyHistogram in_parts(std::span<const int> histogram, int parts) {
    GreyHistogram result(static_cast<std::size_t>(parts));
    for (std::size_t i = 0; i < histogram.size(); ++i) result[i * result.size() / histogram.size()] += histogram[i];
    return result;
}

int noise_level_of(std::span<const int> histogram, unsigned perimeter, const NoiseClass& rules) {
    return bin_above_background(histogram, perimeter, rules) * kGreyLevels / static_cast<int>(histogram.size());
}

AutomaticLevel automatic_level(Image* image, const NoiseClass& rules) {
    if (image == nullptr || image->GetBits() != 16) return {};
    AutomaticLevel found{0, grey_histogram(image, rules.histogram_bins)};
    const GreyHistogram none(static_cast<std::size_t>(rules.histogram_bins));
    const unsigned perimeter = 2 * (image->GetWidth() + image->GetHeight());
    found.noise_level = noise_level_of(found.histogram ? *found.histogram : none, perimeter, rules);
    return found;
}

}  // namespace Norvane
