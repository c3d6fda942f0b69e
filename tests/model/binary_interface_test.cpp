// SPDX-License-Identifier: Apache-2.0
/// Sizes, offsets and virtual slots that compiled hosts rely on. Whoever must change one raises the library's major
/// version, and with it the soname.
#include "support/builders.h"
#include "support/test.h"

#include <bit>
#include <cstddef>

// The numbers of 64-bit platforms that follow the Itanium C++ ABI, with the containers of libstdc++.
#if defined(__GLIBCXX__) && defined(__LP64__)

// offsetof on classes with virtual functions is conditionally supported; GCC and Clang support it.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace Norvane::Tests {
namespace {

template <class... Sizes>
constexpr std::array<std::size_t, sizeof...(Sizes)> numbers(Sizes... sizes) {
    return {static_cast<std::size_t>(sizes)...};
}

using Params = Masking::Params;
static_assert(numbers(sizeof(GarbageItem), sizeof(GarbageList), sizeof(LeaksFinder), sizeof(Image), sizeof(Mask),
                      sizeof(ContourState), sizeof(Params), sizeof(Masking),
                      sizeof(PectDetect)) == numbers(16, 48, 1, 72, 88, 20, 48, 104, 8));
static_assert(numbers(sizeof(ImageFormat), sizeof(IMAGE_SIDE), sizeof(IMAGE_VIEW), sizeof(BG_NOISE),
                      sizeof(Masking::MASK_STATUS), sizeof(PectDetect::PECT_STATUS)) == numbers(4, 4, 4, 4, 4, 4));
static_assert(numbers(offsetof(Params, reserved), offsetof(Params, side), offsetof(Params, view),
                      offsetof(Params, bgNoise), offsetof(Params, noiseLevel),
                      offsetof(Params, pixelPaddingValueRangeLimit), offsetof(Params, fullContour),
                      offsetof(Params, singleContour), offsetof(Params, smoothContour), offsetof(Params, contourOffset),
                      offsetof(Params, checkCutTissue), offsetof(Params, contourOutput), offsetof(Params, maskingSpeed),
                      offsetof(Params, contour), offsetof(Params, pectContour)) ==
              numbers(0, 4, 8, 12, 16, 18, 20, 21, 22, 24, 28, 29, 30, 32, 40));
static_assert(numbers(offsetof(ContourState, tissueMean), offsetof(ContourState, backgroundLevel),
                      offsetof(ContourState, tissueThreshold), offsetof(ContourState, thresholdScale),
                      offsetof(ContourState, edgeColumn), offsetof(ContourState, centreRow),
                      offsetof(ContourState, centreColumn)) == numbers(0, 2, 4, 8, 12, 14, 16));

struct ImageFields : Image {  // hosts inline the getters and setters
    static constexpr auto offsets() {
        return numbers(offsetof(ImageFields, garbage), offsetof(ImageFields, buffer), offsetof(ImageFields, width),
                       offsetof(ImageFields, height), offsetof(ImageFields, stride), offsetof(ImageFields, bits),
                       offsetof(ImageFields, usedBits), offsetof(ImageFields, format), offsetof(ImageFields, pixelSize),
                       offsetof(ImageFields, offX), offsetof(ImageFields, offY), offsetof(ImageFields, isBufferOwner),
                       offsetof(ImageFields, needsInversion), offsetof(ImageFields, rescaleSlope),
                       offsetof(ImageFields, rescaleIntercept));
    }
};
static_assert(ImageFields::offsets() == numbers(8, 16, 24, 28, 32, 36, 40, 44, 48, 52, 56, 60, 61, 64, 68));

struct MaskFields : Mask {
    static constexpr auto offsets() {
        return numbers(offsetof(MaskFields, pixelSize), offsetof(MaskFields, targetPixelSize));
    }
};
static_assert(MaskFields::offsets() == numbers(12, 16));

/// Offset of a virtual function in the table, as its pointer holds it.
template <class Member>
std::ptrdiff_t table_offset(Member member) {
    struct Pointer {
        std::intptr_t value, adjustment;
    };
    const auto value = std::bit_cast<Pointer>(member).value;
#if defined(__aarch64__)
    return value;  // the mark of a virtual function is in the adjustment
#else
    return value - 1;
#endif
}

TEST(BinaryInterface, TheDestructorIsTheFirstVirtualOperationAndClearTheSecond) {
    constexpr std::ptrdiff_t kBehindBothFormsOfTheDestructor = 2 * sizeof(void*);
    for (const std::ptrdiff_t at : {table_offset(&GarbageItem::Clear), table_offset<void (Image::*)()>(&Image::Clear),
                                    table_offset<void (Mask::*)()>(&Mask::Clear)})
        EXPECT_EQ(kBehindBothFormsOfTheDestructor, at);
}

TEST(BinaryInterface, EachStatusHasASentenceOfItsOwn) {
    std::set<std::string> sentences;
    for (int status = 0; status <= 15; ++status)  // 10 and 15 name no status
        sentences.insert(StatusSentence(static_cast<Masking::MASK_STATUS>(status)));
    EXPECT_EQ(15U, sentences.size());
}

}  // namespace
}  // namespace Norvane::Tests
#endif
