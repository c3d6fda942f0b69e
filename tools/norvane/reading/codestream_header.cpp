// SPDX-License-Identifier: Apache-2.0
#include "reading/codestream_header.h"

#include "reading/refusal.h"

#include <string>

namespace Norvane::Host {
namespace {

// Markers: a byte 0xFF and one of these.
constexpr unsigned kScanStart = 0xDA;
constexpr unsigned kFrameOfJpegLs = 0xF7;

// Frame headers are 0xC0 to 0xCF but for three tables of that range.
bool is_frame(unsigned marker) {
    const bool is_table = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
    return (marker >= 0xC0 && marker <= 0xCF && !is_table) || marker == kFrameOfJpegLs;
}

bool has_no_length(unsigned marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8); }

}  // namespace

CodestreamHeader read_jpeg_header(std::span<const std::uint8_t> bytes) {
    const auto two_bytes = [bytes](std::size_t at) { return bytes[at] * 256U + bytes[at + 1]; };
    constexpr std::size_t kFrameHeader = 10;  // marker, length, bits, height, width, components
    for (std::size_t at = 0; at + kFrameHeader <= bytes.size() && bytes[at] == 0xFF;) {
        const unsigned marker = bytes[at + 1];
        if (is_frame(marker)) return {two_bytes(at + 7), two_bytes(at + 5), bytes[at + 4], bytes[at + 9]};
        if (marker == kScanStart) break;
        if (marker == 0xFF) {  // fill byte
            ++at;
        } else {
            at += has_no_length(marker) ? 2 : 2 + std::size_t{two_bytes(at + 2)};
        }
    }
    throw Refusal("has JPEG data without a frame header");
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
