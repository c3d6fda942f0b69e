// SPDX-License-Identifier: Apache-2.0
/// A mammogram as its file holds it. All readers deliver this.
#pragma once

#include "io/header.h"
#include "io/read_options.h"

#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

namespace Norvane::Host {

/// Allocates elements without setting them, for buffers that are filled completely before they are read.
template <class Value>
struct UnsetElements : std::allocator<Value> {
    template <class Other>
    struct rebind {
        using other = UnsetElements<Other>;
    };
    template <class Element>
    void construct(Element* place) {
        ::new (static_cast<void*>(place)) Element;
    }
    template <class Element, class... Arguments>
    void construct(Element* place, Arguments&&... arguments) {
        ::new (static_cast<void*>(place)) Element(std::forward<Arguments>(arguments)...);
    }
};
using Samples = std::vector<std::uint16_t, UnsetElements<std::uint16_t>>;

/// The header, and the samples row by row. If the file stores signed samples, they are moved up so that the lowest
/// possible value is 0. `padding` and `window` are on the scale of `samples`.
struct SourceImage : Header {
    Samples samples;
};

/// Sets the size. Refuses a size of 0, a size that the library cannot hold, and an image that would need more memory
/// than the options allow. This counts the samples, the work on them, and `reader_bytes`, which the reader needs
/// itself.
void settle_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options,
                 std::uint64_t reader_bytes);

/// Allocates the samples. Their values are not set. A reader that needs much memory to decode calls this as late as
/// possible.
void make_room(SourceImage& image);

/// Does both: settle_size() and make_room().
void set_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options = {},
              std::uint64_t reader_bytes = 0);

/// Sets which frame is read: the one that the user asks for, or the only one. If there are several and the user does
/// not choose, throws Refusal.
void set_frame(SourceImage& image, unsigned frame_count, const ReadOptions& options);

}  // namespace Norvane::Host
