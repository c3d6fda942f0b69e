// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>

#include <cstdint>
#include <span>
#include <vector>

namespace Norvane::Host {

/// The fragments of compressed pixel data that hold one frame. Frames may be cut into several fragments at any place.
class FrameFragments {
public:
    /// `frame` counts from 1. Throws Refusal when the frame cannot be found. Keeps a reference to `pixels`.
    FrameFragments(DcmPixelData& pixels, unsigned frame, unsigned frame_count);

    /// The item of the first fragment; item 0 is the offset table.
    [[nodiscard]] unsigned first() const { return first_item; }
    /// The bytes of the first fragment.
    [[nodiscard]] std::span<const std::uint8_t> start() const { return bytes_of(first_item); }
    /// The bytes of the frame, valid as long as this object.
    [[nodiscard]] std::span<const std::uint8_t> joined() const;

private:
    [[nodiscard]] std::span<const std::uint8_t> bytes_of(unsigned item) const;
    [[nodiscard]] std::vector<unsigned> items_by_offset_table() const;
    [[nodiscard]] std::vector<unsigned> items_by_first_bytes() const;

    DcmPixelSequence* sequence = nullptr;
    unsigned first_item = 0;
    unsigned end_item = 0;
    mutable std::vector<std::uint8_t> bytes;
};

}  // namespace Norvane::Host
