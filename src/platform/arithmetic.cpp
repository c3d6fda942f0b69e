// SPDX-License-Identifier: Apache-2.0
/// Sample by sample: threshold, products, norm.
#include "platform/raster.h"

#include <algorithm>
#include <cmath>

namespace Norvane {

using namespace Platform;

namespace {

/// Writes operation(sample) for every sample.
template <class Sample, class Operation>
int map_samples(const IplHeader& src, const IplHeader& dst, Operation operation) {
    for (std::size_t y = 0; y < src.height; ++y) {
        const auto from = row_of<Sample>(src, y);
        const auto to = row_to_write<Sample>(dst, y);
        for (std::size_t x = 0; x < to.size(); ++x) to[x] = operation(from[x]);
    }
    return kIplOk;
}

/// For samples of up to 16 bits, in 32-bit arithmetic. A factor of 65535 already takes every sample except 0 to the end
/// of the range, so a larger factor does the same. With a negative factor, unsigned samples become 0.
template <class Sample>
int multiply(const IplHeader& src, const IplHeader& dst, int factor) {
    using Wide = std::conditional_t<std::is_signed_v<Sample>, std::int32_t, std::uint32_t>;
    constexpr int kEnough = 65535;
    const auto k = static_cast<Wide>(std::clamp(factor, std::is_signed_v<Sample> ? -kEnough : 0, kEnough));
    return map_samples<Sample>(src, dst, [k](Sample v) { return saturate<Sample>(static_cast<Wide>(v) * k); });
}

template <>
int multiply<std::int32_t>(const IplHeader& src, const IplHeader& dst, int factor) {
    return map_samples<std::int32_t>(
        src, dst, [factor](std::int32_t v) { return saturate<std::int32_t>(std::int64_t{v} * factor); });
}

template <class Sample>
double largest_magnitude(const IplHeader& header) {
    Sample lowest = 0, largest = 0;
    for (std::size_t y = 0; y < header.height; ++y)
        for (const Sample v : row_of<Sample>(header, y)) {  // comparisons with a NaN are false
            lowest = v < lowest ? v : lowest;
            largest = v > largest ? v : largest;
        }
    const double below = -static_cast<double>(lowest), above = static_cast<double>(largest);
    return below > above ? below : above;  // of equal zeros the positive one
}

double largest_bit(const IplHeader& header) {
    const unsigned tail = header.width % 8;  // bits beyond the last pixel do not count
    const auto last_byte = static_cast<unsigned char>(tail == 0 ? 0xFF : 0xFF00U >> tail);
    for (std::size_t y = 0; y < header.height; ++y) {
        const auto row = row_of<unsigned char>(header, y);
        if (row.empty()) continue;
        const auto whole = row.first(row.size() - 1);
        if ((row.back() & last_byte) != 0 || std::ranges::any_of(whole, [](auto b) { return b != 0; })) return 1.0;
    }
    return 0.0;
}

}  // namespace

void iplThreshold(const IplHeader* src, const IplHeader* dst, int threshold) {
    run_call([&] {
        if (!are_alike(src, dst)) return kIplBadArgument;
        return for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t>(src->depth, [&]<class Sample>(Sample) {
            return map_samples<Sample>(*src, *dst, [threshold](Sample v) {
                return v >= threshold ? std::numeric_limits<Sample>::max() : Sample{0};
            });
        });
    });
}

double iplNorm(const IplHeader* a, const IplHeader* b, int norm_type) {
    double norm = 0.0;
    run_call([&] {
        if (!is_described(a) || b || norm_type != 1) return kIplBadArgument;
        if (a->depth == kIplDepth1U) {
            norm = largest_bit(*a);
            return kIplOk;
        }
        return for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, std::int32_t, float>(
            a->depth, [&]<class Sample>(Sample) {
                norm = largest_magnitude<Sample>(*a);
                return kIplOk;
            });
    });
    return norm;
}

void iplMultiplyS(const IplHeader* src, const IplHeader* dst, int factor) {
    run_call([&] {
        if (!are_alike(src, dst)) return kIplBadArgument;
        return for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, std::int32_t>(
            src->depth, [&]<class Sample>(Sample) { return multiply<Sample>(*src, *dst, factor); });
    });
}

void iplMultiplySFP(const IplHeader* src, const IplHeader* dst, float factor) {
    run_call([&] {
        if (!are_alike(src, dst)) return kIplBadArgument;
        return for_depth<float>(src->depth, [&](float) {
            return map_samples<float>(*src, *dst, [factor](float v) { return v * factor; });
        });
    });
}

}  // namespace Norvane
