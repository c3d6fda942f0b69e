// SPDX-License-Identifier: Apache-2.0
#include "imaging/filter.h"

#include "imaging/wrapped_image.h"
#include "model/numbers.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>

namespace Norvane::Filter {

using namespace Utils;

namespace {

constexpr unsigned kLastFixedFilter = 10;

struct Free {
    void operator()(int* block) const { std::free(block); }
};
/// The boundaries of a lookup table; freed on every path.
using Keys = std::unique_ptr<int[], Free>;

/// Room for one key more than intervals. Null if there is no memory, or if an int cannot count the keys.
Keys allocate_keys(int intervals) {
    if (intervals == std::numeric_limits<int>::max()) return nullptr;
    const auto count = static_cast<std::size_t>(std::max(intervals, 0)) + 1;
    return Keys(static_cast<int*>(std::malloc(count * sizeof(int))));
}

IplLookupTable lookup_table(const Keys& keys, int* values, int intervals) {
    return {.num = intervals + 1, .key = keys.get(), .value = values, .factor = nullptr, .interpolate = 0};
}

/// Keys firstKey, firstKey + keyStep, ...; they wrap like 32-bit numbers.
void fill_with_steps(int* keys, int intervals, int first_key, int key_step) {
    auto key = static_cast<unsigned>(first_key);
    keys[0] = first_key;
    for (int k = 1; k <= intervals; ++k) {
        key += static_cast<unsigned>(key_step);
        keys[k] = static_cast<int>(key);
    }
}

/// Boundaries of `bins` equal parts of `range` grey values.
void fill_with_equal_parts(int* keys, int bins, int range, bool is_16_bit) {
    constexpr int kOverflowingBins = 32768;  // from here on k * 65536 leaves 32 bits
    const float step = static_cast<float>(range) / static_cast<float>(bins);
    keys[0] = 0;
    for (int k = 1; k <= bins; ++k) {
        if (bins == range)
            keys[k] = k;
        else if (is_16_bit && bins >= kOverflowingBins)
            keys[k] = truncate_to<int>(double{static_cast<float>(k) * step});
        else
            keys[k] = static_cast<int>(static_cast<unsigned>(k) * static_cast<unsigned>(range)) / bins;
    }
}

bool is_unsigned_grey(const Image& image) {
    return (image.GetBits() == 8 || image.GetBits() == 16) && image.GetFormat() == FORMAT_UNSIGNED;
}

}  // namespace

int ConvolveFixed(const Image* src, Image* dst, unsigned filter) {
    if (!src || !dst) return kBadArgument;
    if (filter > kLastFixedFilter) return bad_argument("Filter::ConvolveFixed() Unrecognised fixed filter type");
    return filter_into(*src, *dst, [filter](const IplHeader* from, const IplHeader* to) {
        iplFixedFilter(from, to, static_cast<int>(filter));
    });
}

int Blur(const Image* src, Image* dst, int nCols, int nRows, int anchorX, int anchorY) {
    if (!src || !dst) return kBadArgument;
    if (nCols < 1 || nRows < 1) return bad_argument("Filter::Blur() blurx or blury < 1");
    return filter_into(*src, *dst, [=](const IplHeader* from, const IplHeader* to) {
        iplBlur(from, to, nCols, nRows, anchorX, anchorY);
    });
}

int MultiplySFP(Image* image, float factor) {
    if (!image) return kBadArgument;
    if (image->GetBits() != 32 || image->GetFormat() != FORMAT_FLOAT) return kUnsupportedImage;
    return call_on(*image, [factor](const IplHeader* header) { iplMultiplySFP(header, header, factor); });
}

int Threshold(Image* image, int threshold) {
    if (!image) return kBadArgument;
    if (image->GetBits() == 32 || image->GetBits() == 1) return kUnsupportedImage;
    return call_on(*image, [threshold](const IplHeader* header) { iplThreshold(header, header, threshold); });
}

int MultiplyS(Image* image, int factor) {
    if (!image) return kBadArgument;
    if (image->GetBits() == 1) return kUnsupportedImage;
    return call_on(*image, [factor](const IplHeader* header) { iplMultiplyS(header, header, factor); });
}

int ContrastStretch(Image* image, int firstKey, int keyStep, int* values, int intervals) {
    if (!image) return kBadArgument;
    if (!is_unsigned_grey(*image)) return kUnsupportedImage;
    const Keys keys = allocate_keys(intervals);
    if (!keys) return kOutOfMemory;
    fill_with_steps(keys.get(), intervals, firstKey, keyStep);
    IplLookupTable table = lookup_table(keys, values, intervals);
    IplLookupTable* tables[] = {&table};  // one per channel
    return call_on(*image, [&tables](const IplHeader* header) { iplContrastStretch(header, header, tables); });
}

int Norm(Image* image, double* norm) {
    if (!image) return kBadArgument;
    constexpr int kLargestMagnitude = 1;
    return call_on(*image, [norm](const IplHeader* header) { *norm = iplNorm(header, nullptr, kLargestMagnitude); });
}

int ComputeHisto(Image* image, int* histogram, int bins) {
    if (!image || !is_unsigned_grey(*image)) return kBadArgument;
    const Keys keys = allocate_keys(bins);
    if (!keys) return kOutOfMemory;
    const bool is_16_bit = image->GetBits() == 16;
    fill_with_equal_parts(keys.get(), bins, is_16_bit ? 65536 : 256, is_16_bit);
    IplLookupTable table = lookup_table(keys, histogram, bins);
    IplLookupTable* tables[] = {&table};
    return call_on(*image, [&tables](const IplHeader* header) { iplComputeHisto(header, tables); });
}

}  // namespace Norvane::Filter
