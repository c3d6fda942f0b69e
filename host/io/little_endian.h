// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane::Host {

/// The 32-bit number in bytes[at] (lowest byte) to bytes[at + 3], which must exist.
inline std::uint32_t little_endian_32(std::span<const std::uint8_t> bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 4; i > 0; --i) number = number << 8U | bytes[at + i - 1];
    return number;
}

}  // namespace Norvane::Host
