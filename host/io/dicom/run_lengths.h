// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace Norvane::Host {

/// Decodes a frame of DICOM's run lengths: a plane for each byte of the samples, the highest byte first. Throws Refusal
/// when a plane is not complete (the toolkit's decoder leaves the rest of the picture black and says nothing).
void decode_run_lengths(std::span<const std::uint8_t> bytes, unsigned bytes_per_sample, std::span<std::uint16_t> words);

}  // namespace Norvane::Host
