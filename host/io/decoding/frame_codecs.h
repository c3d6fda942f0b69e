// SPDX-License-Identifier: Apache-2.0
/// The codec libraries, in the process that calls.
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// Fills width x height words. Throws Refusal, std::bad_alloc. Damaged data may end the process.
void decode_by_library(const CompressedFrame& frame, std::span<std::uint16_t> words);

}  // namespace Norvane::Host
