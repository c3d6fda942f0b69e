// SPDX-License-Identifier: Apache-2.0
#include "imaging/image_copy.h"
#include "support/picture.h"

#include <optional>

namespace Norvane::Tests {
namespace {

using Utils::ImageCopy;

/// With `strange`, floats far beyond what integers hold, at their limits, and some that are no numbers.
std::unique_ptr<Image> random_image(Random& random, const Depth& depth, unsigned width, unsigned height, bool strange) {
    constexpr double kStrange[] = {NAN,   HUGE_VAL, -HUGE_VAL, 1e-30,    -1e-30,   -0.5,     254.9,   255.9,
                                   256.0, 65534.9,  65535.9,   -32768.9, -32767.9, -40000.0, 32767.9, 87500.1};
    auto image = image_of(depth, width, height);
    Picture picture = random_picture(random, depth, image->GetStride(), height);
    if (strange && depth.is_float())
        for (unsigned i = 0; i < picture.width() * height; i += 1 + random.below(3))
            picture.put(i % picture.width(), i / picture.width(), kStrange[random.below(16)]);
    picture.copy_to(*image);
    return image;
}

/// What a sample becomes; nothing where no conversion exists.
std::optional<double> converted(double v, const Depth& from, const Depth& to) {
    const bool is_real = from.is_float(), becomes_real = to.is_float();
    if (is_real && becomes_real) return v;
    if (to.largest - to.lowest == from.largest - from.lowest && !becomes_real) {  // the same bits
        const double values = to.largest - to.lowest + 1;
        return v < to.lowest ? v + values : v > to.largest ? v - values : v;
    }
    if (from.depth == kIplDepth1U || from.depth == kIplDepth8S) return std::nullopt;
    if (to.depth == kIplDepth1U) return v > 0 ? 1 : 0;
    if (becomes_real) return v;
    if (to.depth == kIplDepth8S) return std::nullopt;
    if (from.depth == kIplDepth16S) return static_cast<double>(static_cast<std::uint8_t>(static_cast<int>(v)));
    return std::isnan(v) ? 0.0 : std::trunc(std::clamp(v, to.lowest, to.largest));
}

TEST(ImageCopy, ConvertsEveryPairOfTypesInsideTheRectangleOrAnswersThree) {
    Random random(1);
    constexpr Depth kDepths[] = {k1U, k8U, k16U, k8S, k16S, k32F};
    for (int round = 0; round < 400; ++round) {
        const Depth &from = kDepths[random.below(6)], &to = kDepths[random.below(6)];
        SCOPED_TRACE(testing::Message() << "round " << round << ", depth " << from.depth << " to " << to.depth);
        const auto src = random_image(random, from, 1 + random.below(40), 1 + random.below(6), !to.is_float());
        const auto dst = random_image(random, to, 1 + random.below(40), 1 + random.below(6), false);
        const Picture source(from, *src), before(to, *dst);
        const unsigned src_x = from.depth == 1 ? 0 : random.below(src->GetWidth()),
                       src_y = random.below(src->GetHeight());
        const unsigned dst_x = to.depth == 1 ? 0 : random.below(dst->GetWidth()),
                       dst_y = random.below(dst->GetHeight());
        const unsigned w = 1 + random.below(50), h = random.chance(3) ? 0xFFFFFFFFU : 1 + random.below(7);
        const bool exists = converted(0, from, to).has_value();
        ASSERT_EQ(exists ? 0 : 3, ImageCopy(src.get(), dst.get(), src_x, src_y, dst_x, dst_y, w, h));
        const unsigned cols = exists ? std::min({w, src->GetWidth() - src_x, dst->GetWidth() - dst_x}) : 0;
        const unsigned rows = std::min({h, src->GetHeight() - src_y, dst->GetHeight() - dst_y});
        const bool takes_padding = from.depth == to.depth && src_x == 0 && dst_x == 0 && cols == src->GetWidth() &&
                                   src->GetStride() == dst->GetStride();  // whole rows in one block
        const auto expected = [&](unsigned x, unsigned y) {
            if (y < dst_y || y - dst_y >= rows || x < dst_x) return before.at(x, y);
            const bool shares_byte = to.depth == 1 && x >= cols && x < (cols + 7) / 8 * 8;
            if (shares_byte && from.depth != 1) return 0.0;  // bits behind the packed ones are cleared
            if (x - dst_x >= cols && !takes_padding && !shares_byte) return before.at(x, y);
            return converted(source.at(src_x + x - dst_x, src_y + y - dst_y), from, to).value();
        };
        expect_samples(Picture(to, *dst), before, expected, "copy");
    }
}

TEST(ImageCopy, RefusesByTable) {
    const auto source = grey_image(8, 4, [](unsigned, unsigned) { return 7U; }), bits = image_of(k1U, 40, 4),
               dst = image_of(k16U, 8, 4), binary = image_of(k1U, 40, 4), signed_bytes = image_of(k8S, 8, 4);
    const Image no_buffer(FORMAT_UNSIGNED, 16U, 8U, 4U, false), real(FORMAT_FLOAT, 16U, 8U, 4U, true);
    Image no_stride(FORMAT_UNSIGNED, 16U, 8U, 4U, false), wider_real(FORMAT_FLOAT, 16U, 9U, 4U, true);
    std::vector<unsigned char> one_row(16);
    no_stride.SetBuffer(one_row.data());
    EXPECT_EQ(1, ImageCopy(nullptr, dst.get()));
    EXPECT_EQ(1, ImageCopy(source.get(), nullptr));
    EXPECT_EQ(1, ImageCopy(nullptr, dst.get(), 0, 0, 0, 0, 1, 1));
    EXPECT_EQ(1, ImageCopy(&no_buffer, dst.get()));
    EXPECT_EQ(1, ImageCopy(&no_stride, dst.get()));
    EXPECT_EQ(0, ImageCopy(source.get(), dst.get(), 8, 0, 0, 0, 1, 1));  // starts outside: nothing to do
    EXPECT_EQ(0, ImageCopy(source.get(), binary.get(), 0, 0, 0, 4, 1, 1));
    EXPECT_EQ(0U, grey(*dst, 0, 0));
    EXPECT_EQ(2, ImageCopy(source.get(), binary.get(), 0, 0, 3, 0, 4, 1));  // a bit address
    EXPECT_EQ(2, ImageCopy(bits.get(), binary.get(), 8, 0, 0, 0, 4, 1));
    EXPECT_EQ(3, ImageCopy(source.get(), signed_bytes.get()));
    EXPECT_EQ(3, ImageCopy(&real, &wider_real, 1, 0, 0, 0, 4, 4));
}

}  // namespace
}  // namespace Norvane::Tests
