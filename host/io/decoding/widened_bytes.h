// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane::Host {

/// Widens 8-bit samples in place: they lie as bytes, without gaps, at the beginning of `words`.
inline void widen_bytes(std::span<std::uint16_t> words) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(words.data());
    for (std::size_t i = words.size(); i-- > 0;) words[i] = bytes[i];  // backwards: no unread byte is overwritten
}

}  // namespace Norvane::Host
