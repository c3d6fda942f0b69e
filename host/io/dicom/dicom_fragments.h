// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/byte_source.h"

#include <cstdint>
#include <vector>

namespace Norvane::Host {

/// Compressed pixels lie in fragments, one or several for each frame, which may be cut at any place.
class FrameFragments {
public:
    /// Walks over the fragments of the pixel data in `file`, whose value is next, and finds those of a frame, counted
    /// from 1. Throws Refusal if the frame cannot be found.
    FrameFragments(FileBytes& file, unsigned frame, unsigned frame_count);

    /// Bytes of the frame.
    [[nodiscard]] std::uint64_t size() const;
    [[nodiscard]] std::vector<std::uint8_t> joined(FileBytes& file) const;

private:
    struct Fragment {
        std::uint64_t offset;  // of its bytes, in the file
        std::uint32_t length;
        bool begins_image;  // as JPEG or JPEG 2000 data do
    };
    using Starts = std::vector<std::size_t>;  // the first fragment of each frame

    void read_table(FileBytes& file);
    [[nodiscard]] Starts starts_by_table(FileBytes& file, unsigned frame_count) const;
    [[nodiscard]] Starts starts_by_first_bytes() const;

    Fragment table{};  // offsets of the frames, which may be empty
    std::vector<Fragment> fragments;
    std::size_t first = 0, end = 0;  // those of the frame
};

}  // namespace Norvane::Host
