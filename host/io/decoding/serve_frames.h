// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// The main loop of a worker. Limits the process, then decodes requests until the program has closed the socket.
/// `memory` is the number of bytes that may be mapped for an image.
void serve_frames(const std::function<void(const CompressedFrame&, std::span<std::uint16_t>)>& decode,
                  std::size_t memory);

}  // namespace Norvane::Host
