// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/decode_frame.h"

#include "io/decoding/decoder_pool.h"
#include "io/decoding/decoder_program.h"
#include "io/decoding/frame_codecs.h"

#include <vector>

namespace Norvane::Host {

void decode_frame(const CompressedFrame& frame, const UseWords& use) {
    if (frame.place == DecodingPlace::kWorker) {
        the_decoder_pool().decode(frame, use);
        return;
    }
    std::vector<std::uint16_t> words(std::size_t{frame.width} * frame.height);
    decode_by_library(frame, words);
    use(words);
}

}  // namespace Norvane::Host
