// SPDX-License-Identifier: Apache-2.0
#include "levels/tissue_thresholds.h"

#include "model/grey_statistics.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>

namespace Norvane {
namespace {

/// If the contrast between background and tissue is low, the threshold must be a higher share of the tissue mean. The
/// first row whose limit lies above the ratio tissue mean / background level applies.
struct ThresholdScaling {
    double below_ratio;
    double factor;
};
constexpr ThresholdScaling kThresholdScalings[] = {{1.5, 2.02},  {1.75, 2.01}, {2.0, 1.9},
                                                   {2.25, 1.75}, {2.5, 1.5},   {2.9, 1.25}};
static_assert(std::ranges::is_sorted(kThresholdScalings, {}, &ThresholdScaling::below_ratio),
              "the first row that fits holds");

}  // namespace

std::uint16_t tissue_mean_of(std::span<const int> histogram, std::uint16_t noise_level) {
    constexpr double kBrightest = 0.08F;  // share of the bins
    const int bins = static_cast<int>(histogram.size());
    const int bin_width = kGreyLevels / bins;
    const int first = noise_level / bin_width + 1;
    const int end = bins - truncate_to<int>(bins * kBrightest);
    const Row<const int> by_bin{histogram};
    double weighted = 0.0, count = 0.0;
    for (int i = first; i < end; ++i) {
        const double pixels = by_bin[i];
        weighted += pixels * (i * bin_width);
        count += pixels;
    }
    if (count == 0.0) return 0;
    return truncate_to<std::uint16_t>(weighted / count);
}

TissueThresholds tissue_thresholds(std::span<const int> histogram, std::uint16_t noise_level, float threshold_scale) {
    constexpr double kAboveNoise =
        1.1F;  // tissue threshold of images with low contrast, as a multiple of the noise level
    constexpr int kBackground = Masking::P_BACKGROUND;
    const std::uint16_t tissue_mean = tissue_mean_of(histogram, noise_level);
    const double threshold =
        tissue_mean <= Masking::P_TISSUE ? noise_level * kAboveNoise : kBackground + (tissue_mean - kBackground) * 0.5;

    const auto ratio = static_cast<float>(tissue_mean / double{kBackground});
    const auto* const step = std::ranges::find_if(
        kThresholdScalings, [&](const ThresholdScaling& s) { return double{ratio} < s.below_ratio; });
    const bool is_low_contrast = step != std::end(kThresholdScalings);
    return {tissue_mean, kBackground, static_cast<std::uint16_t>(truncate_to<int>(threshold)),
            is_low_contrast ? static_cast<float>(double{threshold_scale} * step->factor) : threshold_scale,
            is_low_contrast};
}

}  // namespace Norvane
