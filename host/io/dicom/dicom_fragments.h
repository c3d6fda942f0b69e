// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/byte_source.h"

#include <cstdint>
#include <vector>

namespace Norvane::Host {

/// The fragments of a compressed frame. A frame has one or more, and they may be cut at any byte.
class FrameFragments {
public:
    /// Reads through the fragments of the pixel data, whose value must be next in `file`, and finds those of `frame`,
    /// counted from 1. Throws Refusal if the frame cannot be found.
    FrameFragments(FileBytes& file, unsigned frame, unsigned frame_count);

    /// Size of the frame in bytes.
    [[nodiscard]] std::uint64_t size() const;
    [[nodiscard]] std::vector<std::uint8_t> joined(FileBytes& file) const;

private:
    struct Fragment {
        std::uint64_t offset;  // position of its bytes in the file
        std::uint32_t length;
        bool begins_image;  // its first bytes are those of JPEG or JPEG 2000 data
    };
    using Starts = std::vector<std::size_t>;  // the first fragment of each frame

    void read_table(FileBytes& file);
    [[nodiscard]] Starts starts_by_table(FileBytes& file, unsigned frame_count) const;
    [[nodiscard]] Starts starts_by_first_bytes() const;

    Fragment table{};  // offsets of the frames; it may be empty
    std::vector<Fragment> fragments;
    std::size_t first = 0, end = 0;  // the frame has the fragments first .. end - 1
};

}  // namespace Norvane::Host
