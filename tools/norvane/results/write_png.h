// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace Norvane::Host {

/// The bytes of a grey PNG file of 8 bits.
[[nodiscard]] std::string encode_png(std::span<const std::uint8_t> pixels, unsigned width, unsigned height);
/// The same of 16 bits.
[[nodiscard]] std::string encode_png(std::span<const std::uint16_t> pixels, unsigned width, unsigned height);

}  // namespace Norvane::Host
