// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/frame_codecs.h"

#include "io/decoding/jpeg.h"
#include "io/decoding/jpeg2000.h"

namespace Norvane::Host {

void decode_by_library(const CompressedFrame& frame, std::span<std::uint16_t> words) {
    if (frame.codec == Codec::kJpeg2000) {
        decode_jpeg2000(frame, words);
    } else {
        decode_jpeg(frame, words);
    }
}

}  // namespace Norvane::Host
