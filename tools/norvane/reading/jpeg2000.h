// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace Norvane::Host {

/// Decodes one grey image of width x height pixels: JPEG 2000 or high-throughput JPEG 2000, as a bare codestream or in
/// a JP2 file. Samples go into `words` row by row, signed ones as two's complement. Throws Refusal.
void decode_jpeg2000(std::span<const std::uint8_t> bytes, unsigned width, unsigned height,
                     std::span<std::uint16_t> words);

}  // namespace Norvane::Host
