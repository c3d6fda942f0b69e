// SPDX-License-Identifier: Apache-2.0
/// A mammogram as its file holds it: what the readers deliver.
#pragma once

#include "io/header.h"
#include "io/read_options.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Norvane::Host {

/// The header, and the samples row by row. Samples that the file stores signed are moved up to start at 0; `padding`
/// and `window` are on their scale.
struct SourceImage : Header {
    std::vector<std::uint16_t> samples;
};

/// Sets the size. Refuses sizes of 0, sizes beyond what the library can hold, and an image that would need more memory
/// than the options allow: its samples, the work on them, and `reader_bytes`, which the reader needs besides.
void settle_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options,
                 std::uint64_t reader_bytes);

/// Makes room for the samples, all 0. A reader that needs much memory before it delivers them does it late.
void make_room(SourceImage& image);

/// Both.
void set_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options = {},
              std::uint64_t reader_bytes = 0);

/// Makes words of samples that lie as bytes, without gaps, at the beginning of `words`.
void widen_bytes(std::span<std::uint16_t> words);

/// Notes which frame is read: the one that the user asks for, or the only one. Refuses to choose among several.
void set_frame(SourceImage& image, unsigned frame_count, const ReadOptions& options);

}  // namespace Norvane::Host
