// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// A worker's life: limits itself, then decodes what it is asked to until nobody can ask any more. `memory` is the
/// number of bytes that an image may map.
void serve_frames(const std::function<void(const CompressedFrame&, std::span<std::uint16_t>)>& decode,
                  std::size_t memory);

}  // namespace Norvane::Host
