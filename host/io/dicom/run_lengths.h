// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace Norvane::Host {

/// Decodes a frame in DICOM's RLE encoding: one plane for each byte of the samples, the highest byte first. Throws
/// Refusal if a plane is incomplete. (The toolkit's decoder would leave the rest of the picture black and say nothing.)
void decode_run_lengths(std::span<const std::uint8_t> bytes, unsigned bytes_per_sample, std::span<std::uint16_t> words);

}  // namespace Norvane::Host
