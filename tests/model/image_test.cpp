// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include <gtest/gtest.h>

#include <new>
#include <tuple>

namespace Norvane::Tests {
namespace {

struct Geometry {
    ImageFormat format;
    unsigned bits, width, height, stride, bytes;
};

TEST(Image, RowsAreAlignedToFourBytes) {
    const Geometry cases[] = {
        {FORMAT_UNSIGNED, 8, 5, 3, 8, 24}, {FORMAT_UNSIGNED, 16, 5, 3, 6, 36},  {FORMAT_FLOAT, 32, 5, 3, 5, 60},
        {FORMAT_UNSIGNED, 1, 1, 1, 32, 4}, {FORMAT_UNSIGNED, 1, 33, 2, 64, 16}, {FORMAT_UNSIGNED, 24, 1, 1, 1, 3},
        {FORMAT_UNSIGNED, 16, 0, 7, 0, 0}, {FORMAT_UNSIGNED, 0, 5, 3, 0, 0},
    };
    for (const Geometry& c : cases) {
        const Image image(c.format, c.bits, c.width, c.height, true);
        EXPECT_EQ(image.GetStride(), c.stride) << c.bits << " bits, width " << c.width;
        EXPECT_EQ(image.BufferSize(), c.bytes) << c.bits << " bits, width " << c.width;
        EXPECT_TRUE(image.GetIsBufferOwner());
        for (unsigned i = 0; i < image.BufferSize(); ++i) ASSERT_EQ(image.GetBuffer()[i], 0);
        const Image bare(c.format, c.bits, c.width, c.height, false);
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
    Image source(FORMAT_UNSIGNED, 16, 3, 2, true);
    source.SetRescale(2.0F, -5);
    source.SetGarbage(false);
    const Image copy(source);
    EXPECT_EQ(copy.GetBuffer(), source.GetBuffer());
    EXPECT_FALSE(copy.GetIsBufferOwner());
    EXPECT_FALSE(copy.GetGarbage());
    EXPECT_EQ(copy.GetRescaleIntercept(), -5);

    Image target(FORMAT_UNSIGNED, 8, 100, 100, true);
    target = source;  // releases its own buffer
    EXPECT_EQ(target.GetBuffer(), source.GetBuffer());
    EXPECT_FALSE(target.GetIsBufferOwner());
    Image& alias = source;
    source = alias;
    EXPECT_TRUE(source.GetIsBufferOwner());
    source = copy;  // the same buffer: its owner keeps it
    EXPECT_TRUE(source.GetIsBufferOwner());
}

TEST(Image, MatchingTakesGeometryButNotPixelsOrCalibration) {
    Image model(FORMAT_SIGNED, 16, 5, 3, true);
    model.SetUsedBits(12);
    model.SetPixelSize(70.0F);
    model.SetNeedsInversion(true);
    model.SetOffX(4);
    model.SetOffY(9);
    model.SetRescale(3.0F, 1);
    set_grey(model, 0, 0, 77);

    const Image matched(&model, true);
    EXPECT_EQ(matched.GetStride(), 6U);
    EXPECT_EQ(matched.GetFormat(), FORMAT_SIGNED);
    EXPECT_EQ(matched.GetUsedBits(), 12U);
    EXPECT_EQ(matched.GetOffY(), 9U);
    EXPECT_TRUE(matched.GetNeedsInversion());
    EXPECT_EQ(matched.GetRescaleSlope(), 1.0F);
    EXPECT_EQ(grey(matched, 0, 0), 0U);

    Image secondary(FORMAT_UNSIGNED, 8, 2, 2, true);
    secondary.MatchSecondaryTo(&model);
    EXPECT_EQ(secondary.GetWidth(), 2U);
    EXPECT_EQ(secondary.GetPixelSize(), 70.0F);
    unsigned char* const before = secondary.GetBuffer();
    secondary.MatchTo(&model, false);  // keeps the buffer, whatever its size
    EXPECT_EQ(secondary.GetBuffer(), before);
    EXPECT_EQ(secondary.GetBits(), 16U);
    secondary.MatchTo(nullptr, true);
    secondary.MatchSecondaryTo(nullptr);
    EXPECT_EQ(secondary.GetBuffer(), before);

    OpenImage fresh(&model, false);
    fresh.SetRescale(3.0F, 1);
    fresh.init();
    const auto fields = [](const Image& i) {
        return std::tuple{i.GetBuffer(),       i.GetStride(),          i.GetHeight(),        i.GetBits(),
                          i.GetUsedBits(),     i.GetFormat(),          i.GetPixelSize(),     i.GetOffX(),
                          i.GetOffY(),         i.GetWidth(),           i.GetIsBufferOwner(), i.GetNeedsInversion(),
                          i.GetRescaleSlope(), i.GetRescaleIntercept()};
    };
    EXPECT_EQ(fields(fresh), fields(Image()));
}

struct Tracked : GarbageItem {
    explicit Tracked(std::vector<int>& events, int name) : log(events), id(name) {}
    ~Tracked() override { log.push_back(-id); }
    void Clear() override { log.push_back(id); }
    std::vector<int>& log;
    int id;
};

struct Untracked : GarbageItem {};  // has nothing to clear

TEST(GarbageList, FreesInOrderWhatMayBeFreed) {
    std::vector<int> log;
    Tracked kept(log, 9);
    {
        GarbageList list;
        list.AddItem(nullptr);
        list.AddGeneralItem(nullptr);
        list.AddGeneralItem(new unsigned[8]);
        list.AddItem(new Untracked);
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
