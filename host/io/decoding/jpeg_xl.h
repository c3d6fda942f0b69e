// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// Decodes JPEG XL, bare or in a file of boxes. See decode_by_library().
void decode_jpeg_xl(const CompressedFrame& frame, std::span<std::uint16_t> words);

}  // namespace Norvane::Host
