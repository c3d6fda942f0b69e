// SPDX-License-Identifier: Apache-2.0
/// Background-noise level and tissue thresholds, from the grey-level histogram of the prepared image.
#include <norvane/masking.h>

#include "imaging/filter.h"
#include "imaging/ipl_bridge.h"
#include "model/numbers.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Norvane {
namespace {

constexpr int kGreyLevels = 65536;

/// The first bin with the largest count so far, as a maximum search over several ranges keeps it.
struct PeakBin {
    int bin = 0;
    int count = 0;

    void search(std::span<const int> histogram, int first, int last) {
        for (int i = first; i <= last; ++i) {
            if (histogram[static_cast<std::size_t>(i)] > count) {
                count = histogram[static_cast<std::size_t>(i)];
                bin = i;
            }
        }
    }
};

int histogram_bins(BG_NOISE noise_class) {
    switch (noise_class) {
        case BG_AUTO_COARSE:
        case BG_MG_RAW:
            return 64;
        case BG_AUTO_MEDIUM:
            return 128;
        default:
            return 512;
    }
}

constexpr int kGreyParts = 64;

/// Whether the image could be counted; if not, a line was printed and the counts stay as they are.
bool count_grey_levels(Image* image, std::span<int> histogram) {
    const int code = Filter::ComputeHisto(image, histogram.data(), static_cast<int>(histogram.size()));
    Utils::expect_memory(code);
    return code == 0;
}

/// The same counts in 64 parts, of a histogram whose bins divide them.
std::vector<int> in_grey_parts(std::span<const int> histogram) {
    std::vector<int> parts(kGreyParts);
    for (std::size_t i = 0; i < histogram.size(); ++i) parts[i * kGreyParts / histogram.size()] += histogram[i];
    return parts;
}

/// The level of the background's histogram peak stands at its bin; the returned bin is the first one above the noise.
int bin_above_background(std::span<const int> histogram, unsigned perimeter, BG_NOISE noise_class) {
    const int bins = static_cast<int>(histogram.size());
    const bool is_coarse = bins < 512;
    int limit = ((is_coarse ? 28 : 25) * bins) / 64;  // a background is not brighter than about 0.4 of the grey scale
    PeakBin peak;
    peak.search(histogram, 1, limit);

    // A background fills more pixels than the border of the image has. If none does so far, look in the upper half too.
    const auto is_thin = [&](int count) { return std::int64_t{count} < std::int64_t{perimeter}; };
    if (is_thin(histogram[0]) && is_thin(histogram[static_cast<std::size_t>(peak.bin)])) {
        limit = std::min(limit + bins / 2, bins - 1);
        peak.search(histogram, bins / 2, limit);
    }

    // A maximum at the limit is a slope, not a peak; and a huge count of black pixels is a clean background of its own.
    const bool is_black = std::int64_t{histogram[0]} > 10 * std::int64_t{histogram[static_cast<std::size_t>(peak.bin)]};
    if (peak.bin == limit || is_black) return noise_class == BG_AUTO_MEDIUM ? 3 : 1;
    return peak.bin + (is_coarse && peak.bin < bins / 2 ? 3 : 2);
}

/// Low contrast between background and tissue asks for a higher share of the tissue mean as threshold. The first row
/// whose limit lies above the ratio tissue mean / background level holds.
struct ThresholdScaling {
    double below_ratio;
    double factor;
};
constexpr ThresholdScaling kThresholdScalings[] = {{1.5, 2.02},  {1.75, 2.01}, {2.0, 1.9},
                                                   {2.25, 1.75}, {2.5, 1.5},   {2.9, 1.25}};
static_assert(std::ranges::is_sorted(kThresholdScalings, {}, &ThresholdScaling::below_ratio),
              "the first row that fits holds");

}  // namespace

int Masking::auto_calc_noise_level(Image* image) {
    if (image == nullptr || image->GetBits() != 16) return 0;
    const int bins = histogram_bins(params.bgNoise);
    std::vector<int> histogram(static_cast<std::size_t>(bins));
    const bool is_counted = count_grey_levels(image, histogram);
    if (greyParts && is_counted) greyParts = in_grey_parts(histogram);
    const unsigned perimeter = 2 * (image->GetWidth() + image->GetHeight());
    return (bin_above_background(histogram, perimeter, params.bgNoise) * kGreyLevels) / bins;
}

// NOLINTNEXTLINE(readability-non-const-parameter): derived classes call it with this signature
unsigned short Masking::find_tissue_mean(Image* /*image*/, int* histogram, int bins) {
    constexpr double kBrightest = 0.08F;  // of the bins, left out: frame, labels, markers
    if (histogram == nullptr || bins < 1 || bins > kGreyLevels) return 0;
    const int bin_width = kGreyLevels / bins;
    const int first = backgroundNoiseLevel / bin_width + 1;
    const int end = bins - truncate_to<int>(bins * kBrightest);
    double weighted = 0.0, count = 0.0;
    for (int i = first; i < end; ++i) {
        weighted += static_cast<double>(histogram[i]) * static_cast<double>(i * bin_width);
        count += static_cast<double>(histogram[i]);
    }
    if (count == 0.0) return 0;
    return static_cast<unsigned short>(truncate_to<int>(weighted / count));
}

void Masking::extract_thresholds(Image* image) {
    constexpr double kAboveNoise =
        1.1F;  // tissue threshold of images of low contrast, as a multiple of the noise level
    if (contourState == nullptr) return;
    ContourState& state = *contourState;
    std::vector<int> histogram(kGreyParts);
    if (greyParts && !greyParts->empty()) {
        histogram = std::move(*greyParts);
    } else {
        count_grey_levels(image, histogram);
    }
    state.backgroundLevel = static_cast<unsigned short>(P_BACKGROUND);
    state.tissueMean = find_tissue_mean(image, histogram.data(), kGreyParts);
    state.thresholdScale = threshScale;

    const double threshold = state.tissueMean <= P_TISSUE ? backgroundNoiseLevel * kAboveNoise
                                                          : static_cast<double>(state.backgroundLevel) +
                                                                (state.tissueMean - state.backgroundLevel) * 0.5;
    state.tissueThreshold = static_cast<unsigned short>(truncate_to<int>(threshold));

    const auto ratio =
        static_cast<float>(static_cast<double>(state.tissueMean) / static_cast<double>(state.backgroundLevel));
    for (const ThresholdScaling& step : kThresholdScalings) {
        if (static_cast<double>(ratio) >= step.below_ratio) continue;
        state.thresholdScale = static_cast<float>(static_cast<double>(threshScale) * step.factor);
        changeThreshold = false;
        break;
    }
}

}  // namespace Norvane
