// SPDX-License-Identifier: Apache-2.0
/// Scales by a factor. The platform takes ratios of integers. It is reentrant, so no lock is needed around it.
#include "imaging/filter.h"
#include "imaging/wrapped_image.h"
#include "model/numbers.h"

namespace Norvane::Filter {

using namespace Utils;

namespace {

constexpr int kUnit = 32768;  // the larger side of the ratio
constexpr int kBilinear = 1;

struct Ratio {
    int numerator, denominator;
    [[nodiscard]] float factor() const {
        return static_cast<float>(static_cast<double>(numerator) / static_cast<double>(denominator));
    }
};

/// The ratio nearest to `factor`. If `factor` is not a number, it counts as a reduction.
Ratio ratio_for(float factor) {
    const auto f = double{factor};
    if (f > 1.0) return {kUnit, truncate_to<int>(kUnit / f + 0.5)};
    return {truncate_to<int>(f * kUnit + 0.5), kUnit};
}

unsigned scaled_offset(unsigned offset, float factor) { return truncate_to<unsigned>(offset * double{factor} + 0.5); }

/// Sets the geometry of `dst` and returns the ratio.
Ratio match_scaled(const Image& src, Image& dst, float factor) {
    const Ratio ratio = ratio_for(factor);
    dst.SetPixelSize(src.GetPixelSize() / ratio.factor());
    dst.SetOffX(scaled_offset(src.GetOffX(), ratio.factor()));
    dst.SetOffY(scaled_offset(src.GetOffY(), ratio.factor()));
    return ratio;
}

bool are_of_one_kind(const Image& a, const Image& b) {
    return a.GetBits() == b.GetBits() && a.GetFormat() == b.GetFormat();
}

}  // namespace

int Resample(const Image* src, Image* dst, float factor, unsigned decimationBlur) {
    if (!src || !dst) return kBadArgument;
    if (!are_of_one_kind(*src, *dst)) return kUnsupportedImage;
    return call_on(*src, *dst, [=](const IplHeader* from, const IplHeader* to) {
        const auto [up, down] = match_scaled(*src, *dst, factor);
        const int mask = static_cast<int>(decimationBlur);
        if (up > down)
            iplZoom(from, to, up, down, up, down, kBilinear);
        else if (decimationBlur != 0)
            iplDecimateBlur(from, to, up, down, up, down, kBilinear, mask, mask);
        else
            iplDecimate(from, to, up, down, up, down, kBilinear);
    });
}

int Resample(const Image* src, Image* dst, float factor, unsigned decimationBlur, const RowMap& row_map) {
    if (!src || !dst) return kBadArgument;
    if (!are_of_one_kind(*src, *dst)) return kUnsupportedImage;
    return call_on(*src, *dst, [=, &row_map](const IplHeader* from, const IplHeader* to) {
        const auto [up, down] = match_scaled(*src, *dst, factor);
        const int mask = static_cast<int>(decimationBlur);
        iplDecimateBlur(from, to, up, down, up, down, kBilinear, mask, mask, &row_map);
    });
}

}  // namespace Norvane::Filter
