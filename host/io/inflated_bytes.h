// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/byte_source.h"

#include <array>
#include <memory>

struct z_stream_s;

namespace Norvane::Host {

/// Inflates raw deflate data (RFC 1951, no header) in small steps, as the bytes are read.
class InflatedBytes final : public ByteSource {
public:
    /// A megabyte can inflate to a gigabyte, so reading throws Refusal after `most_bytes`. Keeps a reference to
    /// `source`, whose next byte must be the first deflated one.
    InflatedBytes(ByteSource& source, std::uint64_t most_bytes);
    ~InflatedBytes() override;
    InflatedBytes(const InflatedBytes&) = delete;
    InflatedBytes& operator=(const InflatedBytes&) = delete;

    std::size_t read(std::span<std::uint8_t> to) override;
    bool skip(std::uint64_t count) override;

private:
    ByteSource& source;
    std::uint64_t bytes_left;
    bool is_at_end = false;
    std::unique_ptr<z_stream_s> state;
    std::array<std::uint8_t, 1U << 14> deflated{};
};

}  // namespace Norvane::Host
