// SPDX-License-Identifier: Apache-2.0
/// What compressed data says about the image in it, apart from the header of the DICOM object around it.
#pragma once

#include <cstdint>
#include <span>

namespace Norvane::Host {

struct CodestreamHeader {
    unsigned width;
    unsigned height;
    unsigned bits;
    unsigned components;
    bool is_jpeg_ls = false;
};

/// The frame header of JPEG or JPEG-LS data. Throws Refusal.
[[nodiscard]] CodestreamHeader read_jpeg_header(std::span<const std::uint8_t> bytes);

/// The same of JPEG 2000, bare or in a JP2 file: of its first component. Throws Refusal.
[[nodiscard]] CodestreamHeader read_jpeg2000_header(std::span<const std::uint8_t> bytes);

/// Refuses colour, more than 16 bits, and another size than width x height: decoders believe the compressed data and
/// would lay its rows askew.
void refuse_unfit(const CodestreamHeader& header, unsigned width, unsigned height);

}  // namespace Norvane::Host
