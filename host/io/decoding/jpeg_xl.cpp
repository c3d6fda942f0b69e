// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/jpeg_xl.h"

#include "io/decoding/codestream_header.h"
#include "io/decoding/refusal.h"

#include <jxl/decode.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

namespace Norvane::Host {
namespace {

struct DestroyDecoder {
    void operator()(JxlDecoder* decoder) const { JxlDecoderDestroy(decoder); }
};
using Decoder = std::unique_ptr<JxlDecoder, DestroyDecoder>;

[[noreturn]] void refuse() { throw Refusal("has JPEG XL data that cannot be decoded"); }

void must_succeed(JxlDecoderStatus status) {
    if (status != JXL_DEC_SUCCESS) refuse();
}

/// Where the library puts its samples.
struct Target {
    std::span<std::uint16_t> words;
    std::size_t width;
    float top;  ///< the largest value of a sample
};

// The library gives samples from 0 to 1. As words it would stretch them to 16 bits, and samples of 12 bits would not
// come out as they went in. A float holds each of 65,536 levels exactly enough to be rounded to it.
void take_row(void* user, std::size_t x, std::size_t y, std::size_t count, const void* row) {
    const Target& target = *static_cast<const Target*>(user);
    const std::span<const float> samples(static_cast<const float*>(row), count);
    if (x + count > target.width || (y + 1) * target.width > target.words.size()) return;
    std::ranges::transform(samples, target.words.subspan(y * target.width + x).begin(), [&target](float sample) {
        const float inside = sample > 0.0F ? std::min(sample, 1.0F) : 0.0F;  // also if it is no number
        return static_cast<std::uint16_t>(std::lround(inside * target.top));
    });
}

// Returns the number of bits.
unsigned read_header(const JxlDecoder& decoder, const CompressedFrame& frame) {
    JxlBasicInfo info;
    must_succeed(JxlDecoderGetBasicInfo(&decoder, &info));
    refuse_unfit({info.xsize, info.ysize, info.bits_per_sample, info.num_color_channels}, frame.width, frame.height);
    if (info.exponent_bits_per_sample != 0) throw Refusal("has samples that are no whole numbers");
    return info.bits_per_sample;
}

}  // namespace

void decode_jpeg_xl(const CompressedFrame& frame, std::span<std::uint16_t> words) {
    const Decoder decoder(JxlDecoderCreate(nullptr));
    if (!decoder) throw std::bad_alloc();
    must_succeed(JxlDecoderSubscribeEvents(decoder.get(), JXL_DEC_BASIC_INFO | JXL_DEC_FULL_IMAGE));
    must_succeed(JxlDecoderSetInput(decoder.get(), frame.bytes.data(), frame.bytes.size()));
    JxlDecoderCloseInput(decoder.get());
    std::ranges::fill(words, std::uint16_t{0});
    Target target{words, frame.width, 0.0F};
    constexpr JxlPixelFormat kGrey{1, JXL_TYPE_FLOAT, JXL_NATIVE_ENDIAN, 0};
    for (;;) {
        switch (JxlDecoderProcessInput(decoder.get())) {
            case JXL_DEC_BASIC_INFO:
                target.top = static_cast<float>((1U << read_header(*decoder, frame)) - 1);
                break;
            case JXL_DEC_NEED_IMAGE_OUT_BUFFER:
                must_succeed(JxlDecoderSetImageOutCallback(decoder.get(), &kGrey, take_row, &target));
                break;
            case JXL_DEC_FULL_IMAGE:  // of several images the first
                return;
            default:
                refuse();
        }
    }
}

}  // namespace Norvane::Host
