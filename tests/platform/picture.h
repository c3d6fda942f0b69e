// SPDX-License-Identifier: Apache-2.0
/// A raster of any depth whose samples are read and written as doubles, for slow definitions.
#pragma once

#include "platform/ipl.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace Norvane::Tests {

struct Depth {
    int depth;
    double lowest, largest;  // of integers; floats are filled within this range
    bool is_float = false;
};
inline constexpr Depth k1U{kIplDepth1U, 0, 1}, k8U{kIplDepth8U, 0, 255}, k16U{kIplDepth16U, 0, 65535},
    k8S{kIplDepth8S, -128, 127}, k16S{kIplDepth16S, -32768, 32767}, k32S{kIplDepth32S, -2147483648.0, 2147483647.0},
    k32F{kIplDepth32F, -1000, 1000, true};

class Picture {
public:
    Picture(const Depth& d, unsigned width, unsigned height) : depth(d) {
        header.depth = d.depth;
        header.width = width;
        header.height = height;
        pitch = bits() == 1 ? (width + 7) / 8 : std::size_t{width} * bits() / 8;
        bytes.assign(pitch * height + 8, 0xA5);  // never empty, and a canary behind the last row
        header.image_size = pitch * height;
    }

    [[nodiscard]] const IplHeader* get() {
        header.data = bytes.data();
        return &header;
    }
    [[nodiscard]] double at(std::size_t x, std::size_t y) const {
        if (bits() == 1) return (bytes[y * pitch + x / 8] >> (7 - x % 8)) & 1;
        double v = 0.0;
        as_sample([&](auto sample) {
            std::memcpy(&sample, bytes.data() + y * pitch + x * sizeof sample, sizeof sample);
            v = static_cast<double>(sample);
        });
        return v;
    }
    void put(std::size_t x, std::size_t y, double v) {
        auto* row = bytes.data() + y * pitch;
        const auto bit = static_cast<unsigned char>(0x80U >> (x % 8));
        if (bits() == 1) row[x / 8] = static_cast<unsigned char>(v != 0 ? row[x / 8] | bit : row[x / 8] & ~bit);
        as_sample([&](auto sample) {
            sample = static_cast<decltype(sample)>(v);
            std::memcpy(row + x * sizeof sample, &sample, sizeof sample);
        });
    }
    /// The nearest or farthest value that the depth holds; floats as they come.
    [[nodiscard]] double saturated(double v) const {
        if (depth.is_float) return static_cast<double>(static_cast<float>(v));
        return std::min(std::max(v, depth.lowest), depth.largest);
    }
    /// A result with a division: half up for integers.
    [[nodiscard]] double rounded(double v) const { return saturated(depth.is_float ? v : std::floor(v + 0.5)); }

    [[nodiscard]] unsigned width() const { return header.width; }
    [[nodiscard]] unsigned height() const { return header.height; }
    bool operator==(const Picture& other) const { return bytes == other.bytes; }

    Depth depth;

private:
    [[nodiscard]] unsigned bits() const { return static_cast<unsigned>(header.depth & 0x7FFFFFFF); }
    template <class Use>
    void as_sample(Use use) const {
        switch (depth.depth) {
            case kIplDepth8U:
                return use(std::uint8_t{});
            case kIplDepth16U:
                return use(std::uint16_t{});
            case kIplDepth8S:
                return use(std::int8_t{});
            case kIplDepth16S:
                return use(std::int16_t{});
            case kIplDepth32S:
                return use(std::int32_t{});
            case kIplDepth32F:
                return use(float{});
        }
    }

    IplHeader header;
    std::size_t pitch;
    std::vector<unsigned char> bytes;
};

/// Random samples, every fourth at an end of the range. Floats are multiples of 1/8, a NaN or infinity nowhere.
inline Picture random_picture(Random& random, const Depth& depth, unsigned width, unsigned height) {
    Picture picture(depth, width, height);
    const auto steps =
        static_cast<unsigned>(std::min((depth.largest - depth.lowest) * (depth.is_float ? 8 : 1), 4294967294.0));
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x) {
            const double inside = depth.lowest + random.below(steps + 1) / (depth.is_float ? 8.0 : 1.0);
            picture.put(x, y, random.chance(8) ? depth.lowest : random.chance(8) ? depth.largest : inside);
        }
    return picture;
}

/// Runs `slow` for every pixel of a copy of `target` and compares. `slow(x, y)` answers the sample expected there.
template <class Slow>
void expect_samples(Picture& actual, const Picture& before, Slow slow, const std::string& what) {
    Picture expected = before;
    for (unsigned y = 0; y < actual.height(); ++y)
        for (unsigned x = 0; x < actual.width(); ++x) expected.put(x, y, slow(x, y));
    if (actual == expected) return;
    for (unsigned y = 0; y < actual.height(); ++y)
        for (unsigned x = 0; x < actual.width(); ++x)
            ASSERT_EQ(expected.at(x, y), actual.at(x, y)) << what << " at " << x << ", " << y;
    FAIL() << what << ": bytes that are no pixels were written";
}

}  // namespace Norvane::Tests
