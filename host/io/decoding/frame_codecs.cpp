// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/frame_codecs.h"

#include "io/decoding/jpeg.h"
#include "io/decoding/jpeg2000.h"
#include "io/decoding/jpeg_xl.h"

namespace Norvane::Host {

void decode_by_library(const CompressedFrame& frame, std::span<std::uint16_t> words) {
    switch (frame.codec) {
        case Codec::kJpeg:
        case Codec::kJpegLs:
            return decode_jpeg(frame, words);
        case Codec::kJpeg2000:
            return decode_jpeg2000(frame, words);
        case Codec::kJpegXl:
            return decode_jpeg_xl(frame, words);
    }
}

}  // namespace Norvane::Host
