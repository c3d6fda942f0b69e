// SPDX-License-Identifier: Apache-2.0
#include "hostile_image.h"

#include "support/builders.h"

#include <cstring>

namespace Norvane::Fuzz {
namespace {

std::uint64_t bytes_needed(const Image& image) {
    return (std::uint64_t{image.GetBits()} * image.GetStride() * image.GetHeight() + 7) / 8;
}

}  // namespace

float pixel_size_of(Input& input) {
    static constexpr std::array<float, 12> kSizes = {228.0F, 228.0F, 228.0F, 228.0F, 114.0F,    70.0F,
                                                     205.3F, 250.7F, 0.0F,   -1.0F,  HUGE_VALF, -HUGE_VALF};
    const unsigned kind = input.below(kSizes.size() + 2);
    if (kind < kSizes.size()) return kSizes[kind];
    return kind == kSizes.size() ? static_cast<float>(input.word()) / 100.0F : input.real();
}

HostileImage::HostileImage(Input& input) {
    enum Buffer { kOwned, kBorrowed, kNone };
    static constexpr std::array<unsigned, 8> kBits = {16, 16, 16, 16, 16, 8, 1, 32};
    const unsigned width = input.below(301), height = input.below(301);
    const auto format = input.below(8) == 1 ? input.enumerator<ImageFormat>() : FORMAT_UNSIGNED;
    const unsigned bits = input.one_of(kBits);
    image = std::make_unique<Image>(format, bits, width, height, false);
    if (input.below(8) != 1) image->AlignSize();                          // otherwise the stride is 0
    if (input.below(8) == 1) image->SetBits(input.one_of(kBits), false);  // the stride stays that of the old depth
    const Buffer buffer =
        input.one_of(std::array{kOwned, kOwned, kOwned, kOwned, kBorrowed, kBorrowed, kBorrowed, kNone});
    if (buffer == kOwned) image->AllocNewBuffer(false);
    if (buffer == kBorrowed) {
        pixels.resize(bytes_needed(*image));
        image->SetBuffer(pixels.data());
    }
    if (buffer != kNone) draw(input);
    image->SetUsedBits(input.flag() ? input.below(20) : 12 + input.below(5));
    image->SetPixelSize(pixel_size_of(input));
    image->SetNeedsInversion(input.flag());
    static constexpr std::array<unsigned, 8> kOffsets = {0, 0, 0, 0, 0, 7, 0x7FFFFFF0U, 0xFFFFFFF0U};
    image->SetOffX(input.one_of(kOffsets));
    image->SetOffY(input.one_of(kOffsets));
}

void HostileImage::draw(Input& input) {
    const unsigned width = image->GetWidth(), height = image->GetHeight(), stride = image->GetStride();
    const std::uint64_t size = bytes_needed(*image);
    unsigned char* out = image->GetBuffer();
    const bool is_sketch = input.below(8) != 1 && image->GetBits() == 16 && stride >= width;
    if (is_sketch) {
        Tests::BreastSketch sketch;
        sketch.on_left = input.flag();
        sketch.radius = static_cast<int>(input.below(400));
        sketch.middle = static_cast<int>(input.below(301));
        sketch.muscle = static_cast<int>(input.below(400));
        sketch.frame = static_cast<int>(input.below(16));
        sketch.noise = 1 + input.below(20000);
        sketch.dark = input.below(16000);
        sketch.bright = input.below(40000);
        sketch.more = input.below(12000);
        Tests::Random random(input.byte());
        const unsigned cut = input.below(5);  // 16 to 12 bits
        for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x) {
                const auto grey = static_cast<std::uint16_t>(sketch.grey(x, y, width, height, random) >> cut);
                std::memcpy(out + 2 * (std::uint64_t{y} * stride + x), &grey, sizeof grey);
            }
    }
    const std::span<const std::uint8_t> noise = input.rest();
    if (noise.empty()) return;
    for (std::uint64_t i = 0; i < size; i += is_sketch ? 97 : 1) out[i] ^= noise[i % noise.size()];
}

Masking::Params params_of(Input& input, std::vector<int>& contour) {
    Masking::Params p;
    p.side = input.below(4) == 1 ? input.enumerator<IMAGE_SIDE>() : static_cast<IMAGE_SIDE>(input.below(2));
    p.view = input.below(4) == 1 ? input.enumerator<IMAGE_VIEW>() : VIEW_PECT;
    p.bgNoise = input.below(8) == 1 ? input.enumerator<BG_NOISE>() : static_cast<BG_NOISE>(input.below(10));
    p.noiseLevel = input.word();
    p.pixelPaddingValueRangeLimit = input.word();
    unsigned flags = input.byte();
    for (bool* flag : {&p.fullContour, &p.singleContour, &p.smoothContour, &p.checkCutTissue, &p.contourOutput,
                       &p.maskingSpeed, &p.pectContour, &p.reserved}) {
        *flag = (flags & 1U) != 0;
        flags >>= 1U;
    }
    p.contourOffset = input.below(8) == 1 ? static_cast<int>(input.number()) : static_cast<int>(input.below(9)) - 4;
    contour.assign(input.below(4) == 1 ? input.below(2000) : 1440, 0);
    p.contour = input.below(8) == 1 ? nullptr : &contour;
    return p;
}

}  // namespace Norvane::Fuzz
