// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// Decodes JPEG 2000 and high-throughput JPEG 2000, as a bare codestream or in a JP2 file. See decode_by_library().
void decode_jpeg2000(const CompressedFrame& frame, std::span<std::uint16_t> words);

}  // namespace Norvane::Host
