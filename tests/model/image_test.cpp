// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"
#include "support/test.h"

#include <new>

namespace Norvane::Tests {
namespace {

/// All but buffer and ownership.
auto fields(const Image& i) {
    return std::tuple{i.GetFormat(), i.GetBits(),           i.GetUsedBits(),     i.GetWidth(),
                      i.GetHeight(), i.GetStride(),         i.GetPixelSize(),    i.GetOffX(),
                      i.GetOffY(),   i.GetNeedsInversion(), i.GetRescaleSlope(), i.GetRescaleIntercept()};
}

/// Every field differs from those of a new image.
std::unique_ptr<Image> unusual_image() {
    auto image = std::make_unique<Image>(FORMAT_SIGNED, 16U, 5U, 3U, true);
    image->SetUsedBits(12);
    image->SetPixelSize(70.0F);
    image->SetOffX(4);
    image->SetOffY(9);
    image->SetNeedsInversion(true);
    image->SetRescale(3.0F, -5);
    set_grey(*image, 0, 0, 77);
    return image;
}

TEST(Image, RowsAreAlignedToFourBytes) {
    struct Geometry {
        ImageFormat format;
        unsigned bits, width, height, stride, bytes;
    };
    const Geometry cases[] = {
        {FORMAT_UNSIGNED, 8, 5, 3, 8, 24}, {FORMAT_UNSIGNED, 16, 5, 3, 6, 36},  {FORMAT_FLOAT, 32, 5, 3, 5, 60},
        {FORMAT_UNSIGNED, 1, 1, 1, 32, 4}, {FORMAT_UNSIGNED, 1, 33, 2, 64, 16}, {FORMAT_UNSIGNED, 24, 1, 1, 1, 3},
        {FORMAT_UNSIGNED, 16, 0, 7, 0, 0}, {FORMAT_UNSIGNED, 0, 5, 3, 0, 0},
    };
    for (const Geometry& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bits << " bits, width " << c.width);
        const Image image(c.format, c.bits, c.width, c.height, true), bare(c.format, c.bits, c.width, c.height, false);
        EXPECT_EQ(image.GetStride(), c.stride);
        EXPECT_EQ(image.BufferSize(), c.bytes);
        EXPECT_TRUE(image.GetIsBufferOwner());
        EXPECT_EQ(std::count(image.GetBuffer(), image.GetBuffer() + c.bytes, 0), c.bytes);
        EXPECT_EQ(bare.GetStride(), 0U);
        EXPECT_EQ(bare.BufferSize(), 0U);
    }
}

TEST(Image, SizesThatDoNotFitTheirArithmeticAreRefusedAsFailedAllocations) {
    EXPECT_THROW(Image(FORMAT_UNSIGNED, 16, 16384, 16384, true), std::bad_alloc);   // 2^32 bits
    EXPECT_THROW(Image(FORMAT_UNSIGNED, 8, 0xFFFFFFFFU, 1, true), std::bad_alloc);  // the stride wraps to 0
    EXPECT_THROW(Image(FORMAT_UNSIGNED, 1, 0xFFFFFFFFU, 1, true), std::bad_alloc);
    Image image(FORMAT_UNSIGNED, 8, 4, 4, true);
    EXPECT_THROW(image.SetHeight(0xFFFFFFFFU, true), std::bad_alloc);
    EXPECT_EQ(image.GetBuffer(), nullptr);  // still valid, without pixels
}

TEST(Image, ForeignBuffersAreNeverReleased) {
    std::vector<unsigned char> pixels(36, 7);
    {
        Image wrapped(pixels.data(), FORMAT_UNSIGNED, 16, 5, 3, 50.0F, true);
        wrapped.Clear();
        EXPECT_EQ(wrapped.GetBuffer(), pixels.data());
        Image copy(pixels.data(), FORMAT_UNSIGNED, 16, 5, 3, 50.0F, false);
        EXPECT_TRUE(copy.GetIsBufferOwner());
        EXPECT_EQ(copy.GetBuffer()[35], 7);
        copy.SetBuffer(pixels.data());  // releases its own
        const Image none(nullptr, FORMAT_UNSIGNED, 16, 5, 3, 50.0F, false);
        EXPECT_TRUE(none.GetIsBufferOwner());
        EXPECT_EQ(none.GetBuffer(), nullptr);
    }
    EXPECT_EQ(pixels[0], 7);

    auto owner = std::make_unique<Image>(FORMAT_UNSIGNED, 8U, 4U, 1U, true);
    unsigned char* const block = owner->GetBuffer();
    owner->SetBuffer(block);  // hands the ownership out
    owner.reset();
    block[0] = 1;
    delete[] block;
}

TEST(Image, ACopyRefersToTheBufferAndDoesNotOwnIt) {
    const auto source = unusual_image();
    source->SetGarbage(false);
    const Image copy(*source);
    Image target(FORMAT_UNSIGNED, 8, 100, 100, true);
    target = *source;  // releases its own buffer
    for (const Image* other : {&copy, static_cast<const Image*>(&target)}) {
        EXPECT_EQ(fields(*other), fields(*source));
        EXPECT_EQ(other->GetBuffer(), source->GetBuffer());
        EXPECT_FALSE(other->GetIsBufferOwner() || other->GetGarbage());
    }
    for (const Image* same_buffer : {static_cast<const Image*>(source.get()), &copy}) {
        *source = *same_buffer;  // its owner keeps it
        EXPECT_TRUE(source->GetIsBufferOwner());
    }
}

TEST(Image, MatchingTakesGeometryButNotPixelsOrCalibration) {
    const auto model = unusual_image();
    const Image matched(model.get(), true);
    auto uncalibrated = *model;
    uncalibrated.SetRescale(1.0F, 0);
    EXPECT_EQ(fields(matched), fields(uncalibrated));
    EXPECT_EQ(grey(matched, 0, 0), 0U);

    Image secondary(FORMAT_UNSIGNED, 8, 2, 2, true);
    unsigned char* const buffer = secondary.GetBuffer();
    secondary.MatchSecondaryTo(model.get());
    EXPECT_EQ(fields(secondary), (std::tuple{FORMAT_UNSIGNED, 8U, 12U, 2U, 2U, 4U, 70.0F, 4U, 9U, true, 1.0F, 0}));
    secondary.MatchTo(model.get(), false);  // keeps the buffer, whatever its size
    secondary.MatchTo(nullptr, true);
    secondary.MatchSecondaryTo(nullptr);
    EXPECT_EQ(fields(secondary), fields(uncalibrated));
    EXPECT_EQ(secondary.GetBuffer(), buffer);

    struct OpenImage : Image {
        using Image::init;
        explicit OpenImage(const Image& other) : Image(other) {}
    };
    OpenImage fresh(*model);  // whose ownership is not what a new image has
    fresh.init();
    EXPECT_EQ(fields(fresh), fields(Image()));
    EXPECT_TRUE(fresh.GetBuffer() == nullptr && fresh.GetIsBufferOwner());
}

struct Tracked : GarbageItem {
    explicit Tracked(std::vector<int>& events, int name) : log(events), id(name) {}
    ~Tracked() override { log.push_back(-id); }
    void Clear() override { log.push_back(id); }
    std::vector<int>& log;
    int id;
};

TEST(GarbageList, FreesInOrderWhatMayBeFreed) {
    std::vector<int> log;
    Tracked kept(log, 9);
    {
        GarbageList list;
        list.AddItem(nullptr);
        list.AddGeneralItem(nullptr);
        list.AddGeneralItem(new unsigned[8]);
        list.AddItem(new Tracked(log, 1));
        kept.SetGarbage(false);
        list.AddItem(&kept);
        list.AddItem(new Tracked(log, 2));
    }
    EXPECT_EQ(log, (std::vector<int>{1, -1, 2, -2}));
    kept.Shred();
    EXPECT_EQ(log.size(), 4U);
    (new Tracked(log, 3))->Shred();
    EXPECT_EQ(log.back(), -3);
}

}  // namespace
}  // namespace Norvane::Tests
