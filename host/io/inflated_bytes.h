// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/byte_source.h"

#include <array>
#include <memory>

struct z_stream_s;

namespace Norvane::Host {

/// What deflated bytes without a header stand for (RFC 1951). They are inflated in small steps as they are asked for.
class InflatedBytes final : public ByteSource {
public:
    /// A file of a megabyte can stand for a gigabyte, so a Refusal is thrown after `most_bytes`. Keeps a reference to
    /// `source`, which stands at the first deflated byte.
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
