// SPDX-License-Identifier: Apache-2.0
#include "io/inflated_bytes.h"

#include "io/refusal.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <string>

namespace Norvane::Host {

InflatedBytes::InflatedBytes(ByteSource& deflated_source, std::uint64_t most_bytes)
    : source(deflated_source), bytes_left(most_bytes), state(std::make_unique<z_stream>()) {
    if (inflateInit2(state.get(), -MAX_WBITS) != Z_OK) throw std::bad_alloc();
}

InflatedBytes::~InflatedBytes() { (void)inflateEnd(state.get()); }

std::size_t InflatedBytes::read(std::span<std::uint8_t> to) {
    std::size_t count = 0;
    while (count < to.size() && !is_at_end) {
        if (state->avail_in == 0) {
            state->next_in = deflated.data();
            state->avail_in = static_cast<uInt>(source.read(deflated));
            if (state->avail_in == 0) break;
        }
        const auto room = static_cast<uInt>(std::min<std::size_t>(to.size() - count, 1U << 30));
        state->next_out = to.data() + count;
        state->avail_out = room;
        const int answer = inflate(state.get(), Z_NO_FLUSH);
        if (answer == Z_MEM_ERROR) throw std::bad_alloc();
        if (answer != Z_OK && answer != Z_STREAM_END) throw Refusal("holds damaged deflated data");
        is_at_end = answer == Z_STREAM_END;
        count += room - state->avail_out;
    }
    if (count > bytes_left) throw Refusal("inflates to more bytes than --image-memory allows");
    bytes_left -= count;
    return count;
}

bool InflatedBytes::skip(std::uint64_t count) {
    std::array<std::uint8_t, 1U << 14> passed_over;
    while (count > 0) {
        const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(count, passed_over.size()));
        if (read(std::span(passed_over).first(step)) < step) return false;
        count -= step;
    }
    return true;
}

}  // namespace Norvane::Host
