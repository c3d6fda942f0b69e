// SPDX-License-Identifier: Apache-2.0
/// Runs the codec libraries in the calling process.
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// Fills width x height words. Throws Refusal and std::bad_alloc. Damaged data may crash the process.
void decode_by_library(const CompressedFrame& frame, std::span<std::uint16_t> words);

}  // namespace Norvane::Host
