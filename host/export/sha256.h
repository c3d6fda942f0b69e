// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace Norvane::Host {

using Sha256 = std::array<std::uint8_t, 32>;
[[nodiscard]] Sha256 sha256(std::span<const std::uint8_t> bytes);
[[nodiscard]] Sha256 sha256(const std::string& text);

/// Two lower-case digits per byte.
[[nodiscard]] std::string hexadecimal(std::span<const std::uint8_t> bytes);

}  // namespace Norvane::Host
