// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "imaging/image_copy.h"
#include "model/pixels.h"
#include "support/builders.h"

#include <cstring>

namespace Norvane::Tests {
namespace {

using Utils::ImageCopy;

double sample(const Image& image, unsigned x, unsigned y) {
    if (image.GetBits() == 1) return (image.GetBuffer()[y * ((image.GetStride() + 7) / 8) + x / 8] >> (7 - x % 8)) & 1;
    if (image.GetFormat() == FORMAT_FLOAT) return static_cast<double>(whole_row_of<float>(image, y)[x]);
    const bool is_signed = image.GetFormat() == FORMAT_SIGNED;
    if (image.GetBits() == 16) {
        const std::uint16_t v = whole_row_of<std::uint16_t>(image, y)[x];
        return is_signed ? static_cast<std::int16_t>(v) : v;
    }
    const std::uint8_t v = whole_row_of<std::uint8_t>(image, y)[x];
    return is_signed ? static_cast<std::int8_t>(v) : v;
}

struct Type {
    ImageFormat format;
    unsigned bits;
};
constexpr Type k1U{FORMAT_UNSIGNED, 1}, k8U{FORMAT_UNSIGNED, 8}, k16U{FORMAT_UNSIGNED, 16}, k8S{FORMAT_SIGNED, 8},
    k16S{FORMAT_SIGNED, 16}, k32F{FORMAT_FLOAT, 32};

Image random_image(Random& random, Type type, unsigned width, unsigned height) {
    Image image(type.format, type.bits, width, height, true);
    for (unsigned i = 0; i < image.BufferSize(); ++i)
        image.GetBuffer()[i] = static_cast<unsigned char>(random.below(256));
    if (type.format == FORMAT_FLOAT)
        for (unsigned y = 0; y < height; ++y)
            for (float& v : whole_row_of<float>(image, y))
                v = static_cast<float>(random.between(-700000, 700000)) / 8.0F;
    return image;
}

/// What a sample becomes; nothing where no conversion exists.
std::optional<double> converted(double v, Type from, Type to) {
    const auto wrapped = [](double value, int bits) {
        return static_cast<double>(static_cast<unsigned>(static_cast<int>(value)) & ((1U << bits) - 1));
    };
    const auto clamped = [](double value, double low, double high) { return std::trunc(std::clamp(value, low, high)); };
    const bool is_real = from.format == FORMAT_FLOAT;
    if (from.bits == to.bits && is_real == (to.format == FORMAT_FLOAT)) {
        if (is_real || from.format == to.format || from.bits == 1) return v;
        const int bits = static_cast<int>(from.bits);
        const double low = wrapped(v, bits);
        return to.format == FORMAT_UNSIGNED || low < (1 << (bits - 1)) ? low : low - (1 << bits);
    }
    if (from.bits == 1 || (from.format == FORMAT_SIGNED && from.bits == 8)) return std::nullopt;
    if (to.format == FORMAT_UNSIGNED && to.bits == 1) return v > 0 ? 1 : 0;
    if (to.format == FORMAT_FLOAT) return v;
    if (is_real && to.format == FORMAT_UNSIGNED) return clamped(v, 0, to.bits == 8 ? 255 : 65535);
    if (is_real && to.bits == 16) return clamped(v, -32768, 32767);
    if (from.format == FORMAT_UNSIGNED && from.bits == 8 && to.bits == 16) return v;
    if (from.format == FORMAT_UNSIGNED && from.bits == 16 && to.format == FORMAT_UNSIGNED) return std::min(v, 255.0);
    if (from.format == FORMAT_SIGNED && to.format == FORMAT_UNSIGNED && to.bits == 8) return wrapped(v, 8);
    return std::nullopt;
}

TEST(ImageCopy, ConvertsEveryPairOfTypesInsideTheRectangleOrAnswersThree) {
    Random random(1);
    constexpr Type kTypes[] = {k1U, k8U, k16U, k8S, k16S, k32F};
    for (int round = 0; round < 400; ++round) {
        const Type from = kTypes[random.below(6)], to = kTypes[random.below(6)];
        SCOPED_TRACE(testing::Message() << from.format << ":" << from.bits << " to " << to.format << ":" << to.bits);
        const Image src = random_image(random, from, 1 + random.below(40), 1 + random.below(6));
        const Image before = random_image(random, to, 1 + random.below(40), 1 + random.below(6));
        Image dst(&before, true);
        std::memcpy(dst.GetBuffer(), before.GetBuffer(), dst.BufferSize());
        const unsigned src_x = from.bits == 1 ? 0 : random.below(src.GetWidth()), src_y = random.below(src.GetHeight());
        const unsigned dst_x = to.bits == 1 ? 0 : random.below(dst.GetWidth()), dst_y = random.below(dst.GetHeight());
        const unsigned w = 1 + random.below(50), h = random.chance(3) ? 0xFFFFFFFFU : 1 + random.below(7);
        const bool exists = converted(0, from, to).has_value();
        ASSERT_EQ(exists ? 0 : 3, ImageCopy(&src, &dst, src_x, src_y, dst_x, dst_y, w, h));
        const unsigned cols = exists ? std::min({w, src.GetWidth() - src_x, dst.GetWidth() - dst_x}) : 0;
        const unsigned rows = std::min({h, src.GetHeight() - src_y, dst.GetHeight() - dst_y});
        const bool is_same_type = from.format == to.format && from.bits == to.bits;
        const bool takes_padding = is_same_type && src_x == 0 && dst_x == 0 && cols == src.GetWidth() &&
                                   src.GetStride() == dst.GetStride();  // whole rows in one block
        const auto expected = [&](unsigned x, unsigned y) {
            if (y < dst_y || y - dst_y >= rows || x < dst_x) return sample(before, x, y);
            const bool shares_byte = to.bits == 1 && x >= cols && x < (cols + 7) / 8 * 8;
            if (shares_byte && from.bits != 1) return 0.0;  // bits behind the packed ones are cleared
            if (x - dst_x >= cols && !takes_padding && !shares_byte) return sample(before, x, y);
            return converted(sample(src, src_x + x - dst_x, src_y + y - dst_y), from, to).value();
        };
        for (unsigned y = 0; y < dst.GetHeight(); ++y)
            for (unsigned x = 0; x < dst.GetWidth(); ++x)
                ASSERT_EQ(expected(x, y), sample(dst, x, y)) << x << ", " << y;
    }
}

TEST(ImageCopy, ConvertsTheLimitsExactly) {
    struct Case {
        Type from;
        double v;
        Type to;
        double expected;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    for (const Case& c : {Case{k32F, -0.5, k8U, 0},       {k32F, 255.0, k8U, 255},      {k32F, 255.5, k8U, 255},
                          {k32F, 300.7, k8U, 255},        {k32F, 12.9, k8U, 12},        {k32F, -40000, k16S, -32768},
                          {k32F, -32768.5, k16S, -32768}, {k32F, -12.9, k16S, -12},     {k32F, 32767.9, k16S, 32767},
                          {k32F, 65535.9, k16U, 65535},   {k32F, 65534.9, k16U, 65534}, {k32F, nan, k16U, 0},
                          {k32F, nan, k16S, 0},           {k32F, nan, k1U, 0},          {k32F, inf, k16S, 32767},
                          {k32F, -inf, k8U, 0},           {k32F, 1e-30, k1U, 1},        {k16S, 300, k8U, 44},
                          {k16U, 300, k8U, 255},          {k16U, 256, k8U, 255},        {k16S, -1, k1U, 0},
                          {k16S, -1, k16U, 65535},        {k8U, 200, k16S, 200}}) {
        Image src(c.from.format, c.from.bits, 1U, 1U, true), dst(c.to.format, c.to.bits, 1U, 1U, true);
        if (c.from.format == FORMAT_FLOAT)
            row_of<float>(src, 0)[0] = static_cast<float>(c.v);
        else if (c.from.bits == 8)
            row_of<std::uint8_t>(src, 0)[0] = static_cast<std::uint8_t>(c.v);
        else
            row_of<std::uint16_t>(src, 0)[0] = static_cast<std::uint16_t>(static_cast<int>(c.v));
        ASSERT_EQ(0, ImageCopy(&src, &dst));
        EXPECT_EQ(c.expected, sample(dst, 0, 0)) << c.v;
    }
}

TEST(ImageCopy, RefusesByTable) {
    Random random(3);
    const Image grey = random_image(random, k16U, 8, 4), bits = random_image(random, k1U, 40, 4),
                odd_bits(FORMAT_UNSIGNED, 16U, 8U, 4U, false), real(FORMAT_FLOAT, 16U, 8U, 4U, true);
    Image dst(FORMAT_UNSIGNED, 16U, 8U, 4U, true), binary(FORMAT_UNSIGNED, 1U, 40U, 4U, true);
    EXPECT_EQ(1, ImageCopy(nullptr, &dst));
    EXPECT_EQ(1, ImageCopy(&grey, nullptr));
    EXPECT_EQ(1, ImageCopy(nullptr, &dst, 0, 0, 0, 0, 1, 1));
    EXPECT_EQ(1, ImageCopy(&odd_bits, &dst));                // no buffer
    EXPECT_EQ(0, ImageCopy(&grey, &dst, 8, 0, 0, 0, 1, 1));  // starts outside: nothing to do
    EXPECT_EQ(0, ImageCopy(&grey, &binary, 0, 0, 0, 4, 1, 1));
    EXPECT_EQ(0.0, sample(dst, 0, 0));
    EXPECT_EQ(2, ImageCopy(&grey, &binary, 0, 0, 3, 0, 4, 1));  // a bit address
    EXPECT_EQ(2, ImageCopy(&bits, &binary, 8, 0, 0, 0, 4, 1));
    EXPECT_EQ(3, ImageCopy(&grey, std::make_unique<Image>(FORMAT_SIGNED, 8U, 8U, 4U, true).get()));
    EXPECT_EQ(3, ImageCopy(&real, std::make_unique<Image>(FORMAT_FLOAT, 16U, 9U, 4U, true).get(), 1, 0, 0, 0, 4, 4));
    std::vector<unsigned char> one_row(16);
    Image no_stride(FORMAT_UNSIGNED, 16U, 8U, 4U, false);
    no_stride.SetBuffer(one_row.data());
    EXPECT_EQ(1, ImageCopy(&no_stride, &dst));
}

}  // namespace
}  // namespace Norvane::Tests
