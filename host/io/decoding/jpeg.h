// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// Decodes JPEG, sequential or progressive, JPEG lossless and JPEG-LS. See decode_by_library().
void decode_jpeg(const CompressedFrame& frame, std::span<std::uint16_t> words);

}  // namespace Norvane::Host
