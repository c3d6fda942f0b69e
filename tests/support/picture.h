// SPDX-License-Identifier: Apache-2.0
/// A raster of any depth whose samples are read and written as doubles, for slow definitions.
#pragma once

#include "platform/raster.h"
#include "support/builders.h"
#include "support/test.h"

#include <cstring>

namespace Norvane::Tests {

struct Depth {
    int depth;
    double lowest, largest;  // of integers; floats are filled within this range
    [[nodiscard]] bool is_float() const { return depth == kIplDepth32F; }
};
inline constexpr Depth k1U{kIplDepth1U, 0, 1}, k8U{kIplDepth8U, 0, 255}, k16U{kIplDepth16U, 0, 65535},
    k8S{kIplDepth8S, -128, 127}, k16S{kIplDepth16S, -32768, 32767}, k32S{kIplDepth32S, -2147483648.0, 2147483647.0},
    k32F{kIplDepth32F, -1000, 1000};

[[nodiscard]] inline std::unique_ptr<Image> image_of(const Depth& depth, unsigned width, unsigned height) {
    const ImageFormat format = depth.is_float() ? FORMAT_FLOAT : depth.lowest < 0 ? FORMAT_SIGNED : FORMAT_UNSIGNED;
    return std::make_unique<Image>(format, static_cast<unsigned>(depth.depth & ~kIplSign), width, height, true);
}

class Picture {
public:
    Picture(const Depth& d, unsigned width, unsigned height) : depth(d) {
        header.depth = d.depth;
        header.width = width;
        header.height = height;
        pitch = (std::size_t{width} * (d.depth & ~kIplSign) + 7) / 8;
        header.image_size = pitch * height;
        bytes.assign(header.image_size + 8, 0xA5);  // never empty, and a canary behind the last row
    }
    template <class SampleAt>
    Picture(const Depth& d, unsigned width, unsigned height, SampleAt sample_at) : Picture(d, width, height) {
        for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x) put(x, y, sample_at(x, y));
    }
    /// The samples of an image of this depth, padding columns included.
    Picture(const Depth& d, const Image& image) : Picture(d, image.GetStride(), image.GetHeight()) {
        std::copy_n(image.GetBuffer(), header.image_size, bytes.begin());
    }
    void copy_to(Image& image) const { std::copy_n(bytes.begin(), header.image_size, image.GetBuffer()); }

    [[nodiscard]] const IplHeader* get() {
        header.data = bytes.data();
        return &header;
    }
    [[nodiscard]] double at(std::size_t x, std::size_t y) const {
        if (depth.depth == kIplDepth1U) return bytes[y * pitch + x / 8] >> (7 - x % 8) & 1;
        double v = 0.0;
        as_sample([&](auto sample) {
            std::memcpy(&sample, bytes.data() + y * pitch + x * sizeof sample, sizeof sample);
            v = static_cast<double>(sample);
        });
        return v;
    }
    /// 0 outside.
    [[nodiscard]] double at_or_zero(std::int64_t x, std::int64_t y) const {
        const bool is_inside = x >= 0 && y >= 0 && x < width() && y < height();
        return is_inside ? at(static_cast<std::size_t>(x), static_cast<std::size_t>(y)) : 0.0;
    }
    void put(std::size_t x, std::size_t y, double v) {
        auto* row = bytes.data() + y * pitch;
        const unsigned bit = 0x80U >> (x % 8);
        if (depth.depth == kIplDepth1U)
            row[x / 8] = static_cast<unsigned char>((row[x / 8] & ~bit) | (v != 0 ? bit : 0));
        as_sample([&](auto sample) {
            sample = static_cast<decltype(sample)>(v);
            std::memcpy(row + x * sizeof sample, &sample, sizeof sample);
        });
    }
    /// What the depth holds of a result: integers half up and saturated, floats as they come.
    [[nodiscard]] double rounded(double v) const {
        if (depth.is_float()) return static_cast<double>(static_cast<float>(v));
        return std::clamp(std::floor(v + 0.5), depth.lowest, depth.largest);
    }

    [[nodiscard]] unsigned width() const { return header.width; }
    [[nodiscard]] unsigned height() const { return header.height; }
    bool operator==(const Picture& other) const { return bytes == other.bytes; }

    Depth depth;

private:
    /// Runs use(Sample{}) for the type of the samples, if they are no bits.
    template <class Use>
    void as_sample(Use use) const {
        using namespace Platform;
        (void)for_depth<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, std::int32_t, float>(depth.depth,
                                                                                                     [&](auto sample) {
                                                                                                         use(sample);
                                                                                                         return kIplOk;
                                                                                                     });
    }

    IplHeader header;
    std::size_t pitch;
    std::vector<unsigned char> bytes;
};

/// The samples that are not 0.
inline Bitmap bitmap_of(const Picture& picture) {
    Bitmap bitmap(picture.width(), picture.height());
    for (unsigned y = 0; y < bitmap.height; ++y)
        for (unsigned x = 0; x < bitmap.width; ++x)
            if (picture.at(x, y) != 0) bitmap.put(x, y);
    return bitmap;
}

/// One 3 x 3 step: the largest or smallest sample of the neighbourhood, zeros outside.
inline Picture dilated_or_eroded(const Picture& src, bool dilate) {
    Picture out = src;
    for (unsigned y = 0; y < src.height(); ++y)
        for (unsigned x = 0; x < src.width(); ++x) {
            double v = src.at(x, y);
            for (int cell = 0; cell < 9; ++cell) {
                const double other = src.at_or_zero(std::int64_t{x} + cell % 3 - 1, std::int64_t{y} + cell / 3 - 1);
                v = dilate ? std::max(v, other) : std::min(v, other);
            }
            out.put(x, y, v);
        }
    return out;
}

/// Random samples, every fourth at an end of the range. Floats are multiples of 1/8, a NaN or infinity nowhere.
inline Picture random_picture(Random& random, const Depth& depth, unsigned width, unsigned height) {
    const double step = depth.is_float() ? 0.125 : 1.0;
    const auto steps = static_cast<unsigned>(std::min((depth.largest - depth.lowest) / step, 4294967294.0));
    return {depth, width, height, [&](auto, auto) {
                const double inside = depth.lowest + random.below(steps + 1) * step;
                return random.chance(8) ? depth.lowest : random.chance(8) ? depth.largest : inside;
            }};
}

/// Compares a picture that a call has written with what it was `before` and slow(x, y) for every pixel.
template <class Slow>
void expect_samples(const Picture& actual, const Picture& before, Slow slow, const std::string& what) {
    Picture expected = before;
    for (unsigned y = 0; y < actual.height(); ++y)
        for (unsigned x = 0; x < actual.width(); ++x) {
            expected.put(x, y, slow(x, y));
            ASSERT_EQ(expected.at(x, y), actual.at(x, y)) << what << " at " << x << ", " << y;
        }
    EXPECT_EQ(expected, actual) << what << ": bytes that are no pixels were written";
}

/// Lets call(source, destination) write other pixels and its own source: both hold slow(source, x, y).
template <class Call, class Slow>
void expect_call(Picture src, Call call, Slow slow, const std::string& what) {
    Picture dst(src.depth, src.width(), src.height()), before = dst;
    call(src.get(), dst.get());
    ASSERT_EQ(kIplOk, iplGetErrStatus()) << what;
    expect_samples(
        dst, before, [&](auto x, auto y) { return slow(src, x, y); }, what);
    call(src.get(), src.get());
    EXPECT_EQ(dst, src) << what << " in place";
}

}  // namespace Norvane::Tests
