// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/codestream_header.h"

#include "io/decoding/refusal.h"

#include <string>

namespace Norvane::Host {
namespace {

// A marker is the byte 0xFF and a second byte. This one begins a frame of JPEG-LS.
constexpr unsigned kFrameOfJpegLs = 0xF7;

// Frame headers are 0xC0 to 0xCF, except for the three in that range that are tables.
bool is_frame(unsigned marker) {
    const bool is_table = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
    return (marker >= 0xC0 && marker <= 0xCF && !is_table) || marker == kFrameOfJpegLs;
}

bool has_no_length(unsigned marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8); }

std::uint32_t big_endian_32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24U | std::uint32_t{bytes[at + 1]} << 16U | std::uint32_t{bytes[at + 2]} << 8U |
           bytes[at + 3];
}

// A JP2 file is a series of boxes: length, type, content. Data without boxes is the codestream itself.
std::span<const std::uint8_t> codestream_of(std::span<const std::uint8_t> bytes) {
    constexpr std::uint32_t kSignature = 0x6A502020;   // "jP  "
    constexpr std::uint32_t kCodestream = 0x6A703263;  // "jp2c"
    constexpr std::size_t kBoxHeader = 8;
    if (bytes.size() < kBoxHeader || big_endian_32(bytes, 4) != kSignature) return bytes;
    while (bytes.size() >= kBoxHeader) {
        std::uint64_t length = big_endian_32(bytes, 0);
        std::size_t header = kBoxHeader;
        if (length == 1 && bytes.size() >= 16) {  // the length follows, in 64 bits
            header = 16;
            length = std::uint64_t{big_endian_32(bytes, 8)} << 32U | big_endian_32(bytes, 12);
        }
        if (big_endian_32(bytes, 4) == kCodestream) return bytes.subspan(header);
        if (length < header || length > bytes.size()) break;
        bytes = bytes.subspan(static_cast<std::size_t>(length));
    }
    return {};
}

}  // namespace

CodestreamHeader read_jpeg_header(std::span<const std::uint8_t> bytes) {
    const auto two_bytes = [bytes](std::size_t at) { return bytes[at] * 256U + bytes[at + 1]; };
    constexpr std::size_t kFrameHeader = 10;  // marker, length, bits, height, width, components
    for (std::size_t at = 0; at + kFrameHeader <= bytes.size() && bytes[at] == 0xFF;) {
        const unsigned marker = bytes[at + 1];
        if (is_frame(marker)) {
            return {two_bytes(at + 7), two_bytes(at + 5), bytes[at + 4], bytes[at + 9], marker == kFrameOfJpegLs};
        }
        if (marker == 0xFF) {  // fill byte
            ++at;
        } else {
            at += has_no_length(marker) ? 2 : 2 + std::size_t{two_bytes(at + 2)};
        }
    }
    throw Refusal("has JPEG data without a frame header");
}

CodestreamHeader read_jpeg2000_header(std::span<const std::uint8_t> bytes) {
    constexpr std::uint32_t kStartAndSize = 0xFF4FFF51;  // two markers; the second one begins the header
    constexpr std::size_t kFirstComponent = 42;          // number of bytes before it in the header
    const std::span<const std::uint8_t> stream = codestream_of(bytes);
    if (stream.size() < kFirstComponent + 3 || big_endian_32(stream, 0) != kStartAndSize) {
        throw Refusal("has JPEG 2000 data without a header");
    }
    // The header gives an area of a grid, its far corner first. The component has a sample at every `step`-th column or
    // row of it.
    const auto samples = [&](std::size_t end, std::size_t start, std::uint64_t step) {
        const auto first_at = [step](std::uint64_t position) { return (position + step - 1) / step; };
        if (step == 0 || big_endian_32(stream, end) < big_endian_32(stream, start)) return 0U;
        return static_cast<unsigned>(first_at(big_endian_32(stream, end)) - first_at(big_endian_32(stream, start)));
    };
    const unsigned bits = (stream[kFirstComponent] & 0x7FU) + 1;
    const unsigned components = stream[40] * 256U + stream[41];
    return {samples(8, 16, stream[kFirstComponent + 1]), samples(12, 20, stream[kFirstComponent + 2]), bits,
            components};
}

void refuse_unfit(const CodestreamHeader& header, unsigned width, unsigned height) {
    if (header.components != 1) throw Refusal("is a colour image; grey images are read");
    if (header.bits > 16) throw Refusal("has samples of " + std::to_string(header.bits) + " bits; up to 16 are read");
    if (header.width == width && header.height == height) return;
    throw Refusal("holds a compressed image of " + std::to_string(header.width) + " x " +
                  std::to_string(header.height) + " pixels; its header says " + std::to_string(width) + " x " +
                  std::to_string(height));
}

}  // namespace Norvane::Host
