// SPDX-License-Identifier: Apache-2.0
#include "imaging/image_copy.h"

#include "imaging/ipl_bridge.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Norvane::Utils {

namespace {

/// Converts `count` samples of one row.
using RowKernel = void (*)(const unsigned char* from, unsigned char* to, std::size_t count);

struct SampleType {
    ImageFormat format;
    unsigned bits;
    bool operator==(const SampleType&) const = default;
};

template <class To, class From>
To convert(From v) {
    if constexpr (std::is_floating_point_v<From>)
        return static_cast<To>(std::clamp<int>(truncate_to<int>(double{v}), std::numeric_limits<To>::min(),
                                               std::numeric_limits<To>::max()));
    else if constexpr (std::is_unsigned_v<From> && sizeof(To) < sizeof(From))
        return static_cast<To>(std::min<From>(v, std::numeric_limits<To>::max()));
    else
        return static_cast<To>(v);  // widening, or the low byte of a signed sample
}

template <class From, class To>
void convert_row(const unsigned char* from_bytes, unsigned char* to_bytes, std::size_t count) {
    const auto* from = reinterpret_cast<const From*>(from_bytes);
    auto* to = reinterpret_cast<To*>(to_bytes);
    for (std::size_t x = 0; x < count; ++x) to[x] = convert<To>(from[x]);
}

/// Writes one bit per sample, set if the sample is above 0. The first sample is the most significant bit. Unused bits
/// of the last byte are cleared.
template <class From>
void pack_row(const unsigned char* from_bytes, unsigned char* to, std::size_t count) {
    const auto* from = reinterpret_cast<const From*>(from_bytes);
    for (std::size_t x = 0; x < count; x += 8) {
        unsigned byte = 0;
        for (std::size_t i = 0; i < 8 && x + i < count; ++i) byte |= from[x + i] > From{0} ? 0x80U >> i : 0U;
        to[x / 8] = static_cast<unsigned char>(byte);
    }
}

template <std::size_t Bytes>
void copy_row(const unsigned char* from, unsigned char* to, std::size_t count) {
    std::memmove(to, from, Bytes * count);
}

void copy_bits(const unsigned char* from, unsigned char* to, std::size_t count) {
    std::memmove(to, from, (count + 7) / 8);
}

struct Conversion {
    SampleType from, to;
    RowKernel kernel;
};

constexpr Conversion kConversions[] = {
    {{FORMAT_UNSIGNED, 8}, {FORMAT_UNSIGNED, 16}, convert_row<std::uint8_t, std::uint16_t>},
    {{FORMAT_UNSIGNED, 8}, {FORMAT_SIGNED, 16}, convert_row<std::uint8_t, std::int16_t>},
    {{FORMAT_UNSIGNED, 8}, {FORMAT_UNSIGNED, 1}, pack_row<std::uint8_t>},
    {{FORMAT_UNSIGNED, 8}, {FORMAT_FLOAT, 32}, convert_row<std::uint8_t, float>},
    {{FORMAT_UNSIGNED, 16}, {FORMAT_UNSIGNED, 8}, convert_row<std::uint16_t, std::uint8_t>},
    {{FORMAT_UNSIGNED, 16}, {FORMAT_UNSIGNED, 1}, pack_row<std::uint16_t>},
    {{FORMAT_UNSIGNED, 16}, {FORMAT_FLOAT, 32}, convert_row<std::uint16_t, float>},
    {{FORMAT_SIGNED, 16}, {FORMAT_UNSIGNED, 8}, convert_row<std::int16_t, std::uint8_t>},
    {{FORMAT_SIGNED, 16}, {FORMAT_UNSIGNED, 1}, pack_row<std::int16_t>},
    {{FORMAT_SIGNED, 16}, {FORMAT_FLOAT, 32}, convert_row<std::int16_t, float>},
    {{FORMAT_FLOAT, 32}, {FORMAT_UNSIGNED, 8}, convert_row<float, std::uint8_t>},
    {{FORMAT_FLOAT, 32}, {FORMAT_UNSIGNED, 16}, convert_row<float, std::uint16_t>},
    {{FORMAT_FLOAT, 32}, {FORMAT_SIGNED, 16}, convert_row<float, std::int16_t>},
    {{FORMAT_FLOAT, 32}, {FORMAT_UNSIGNED, 1}, pack_row<float>},
};

bool is_integer(ImageFormat format) { return format == FORMAT_UNSIGNED || format == FORMAT_SIGNED; }

/// The kernel for two sample types; null if there is none.
RowKernel kernel_for(SampleType from, SampleType to) {
    const bool keeps_bytes = (is_integer(from.format) && is_integer(to.format)) ||
                             (from.format == FORMAT_FLOAT && to.format == FORMAT_FLOAT && from.bits == 32);
    if (keeps_bytes && from.bits == to.bits) {
        if (from.bits == 1) return copy_bits;
        constexpr RowKernel kByBytes[] = {nullptr, copy_row<1>, copy_row<2>, copy_row<3>, copy_row<4>};
        const unsigned bytes = (from.bits + 7) / 8;
        return bytes < std::size(kByBytes) ? kByBytes[bytes] : nullptr;
    }
    for (const Conversion& c : kConversions)
        if (c.from == from && c.to == to) return c.kernel;
    return nullptr;
}

SampleType sample_type(const Image& image) { return {image.GetFormat(), image.GetBits()}; }

/// Pixel (x, y), where x is 0 for 1-bit images.
unsigned char* pixel_address(const Image& image, unsigned x, unsigned y) {
    return image.GetBuffer() + row_pitch(image) * y + bytes_per_sample(image) * x;
}

/// The part of `extent` that stays inside both images.
unsigned clipped(unsigned extent, unsigned src_room, unsigned dst_room) {
    return std::min({extent, src_room, dst_room});
}

}  // namespace

int ImageCopy(const Image* src, Image* dst, unsigned srcX, unsigned srcY, unsigned dstX, unsigned dstY, unsigned w,
              unsigned h) {
    if (!src || !dst || !src->GetBuffer() || !dst->GetBuffer()) return kBadArgument;
    if (srcX >= src->GetWidth() || srcY >= src->GetHeight() || dstX >= dst->GetWidth() || dstY >= dst->GetHeight())
        return kSuccess;
    const unsigned cols = clipped(w, src->GetWidth() - srcX, dst->GetWidth() - dstX);
    const unsigned rows = clipped(h, src->GetHeight() - srcY, dst->GetHeight() - dstY);
    if ((src->GetBits() == 1 && srcX != 0) || (dst->GetBits() == 1 && dstX != 0)) return kUnsupported;
    // Rows shorter than the width (a stride that nobody computed) would be read beyond their buffer.
    if (src->GetStride() < src->GetWidth() || dst->GetStride() < dst->GetWidth()) return kBadArgument;

    const std::size_t src_pitch = row_pitch(*src), dst_pitch = row_pitch(*dst);
    const unsigned char* from = pixel_address(*src, srcX, srcY);
    unsigned char* to = pixel_address(*dst, dstX, dstY);
    const bool takes_whole_rows = srcX == 0 && dstX == 0 && cols == src->GetWidth() && src_pitch == dst_pitch;
    if (takes_whole_rows && sample_type(*src) == sample_type(*dst)) {  // padding columns included
        std::memmove(to, from, src_pitch * rows);
        return kSuccess;
    }
    const RowKernel kernel = kernel_for(sample_type(*src), sample_type(*dst));
    if (!kernel) return kUnsupportedImage;
    for (unsigned y = 0; y < rows; ++y) kernel(from + y * src_pitch, to + y * dst_pitch, cols);
    return kSuccess;
}

int ImageCopy(const Image* src, Image* dst) {
    if (!src || !dst) return kBadArgument;
    return ImageCopy(src, dst, 0, 0, 0, 0, src->GetWidth(), src->GetHeight());
}

}  // namespace Norvane::Utils
