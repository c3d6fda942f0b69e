// SPDX-License-Identifier: Apache-2.0
/// What compressed data itself says about its image, independent of the DICOM header around it.
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

/// Reads the frame header of JPEG or JPEG-LS data. Throws Refusal.
[[nodiscard]] CodestreamHeader read_jpeg_header(std::span<const std::uint8_t> bytes);

/// Reads the header of JPEG 2000 data, bare or in a JP2 file. Size and bits are those of the first component. Throws
/// Refusal.
[[nodiscard]] CodestreamHeader read_jpeg2000_header(std::span<const std::uint8_t> bytes);

/// Refuses colour, more than 16 bits, and any size other than width x height. Decoders use the size of the compressed
/// data, so the rows of another size would be shifted against each other.
void refuse_unfit(const CodestreamHeader& header, unsigned width, unsigned height);

}  // namespace Norvane::Host
