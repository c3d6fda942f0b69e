// SPDX-License-Identifier: Apache-2.0
/// Decodes a compressed frame: JPEG, JPEG lossless, JPEG-LS, JPEG 2000, high-throughput JPEG 2000 or JPEG XL.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace Norvane::Host {

enum class Codec { kJpeg, kJpegLs, kJpeg2000, kJpegXl };

/// Where the codec libraries run. If one of them crashes, it ends the process in which it runs.
enum class DecodingPlace { kWorker, kThisProcess };

struct CompressedFrame {
    Codec codec;
    std::span<const std::uint8_t> bytes;  ///< one frame, its fragments joined
    unsigned width, height;  ///< pixels, 1 to 65535; with JPEG, must have been compared with the codestream's
    unsigned bits;           ///< precision that the codestream declares; for JPEG and JPEG-LS; 0 for others
    DecodingPlace place = DecodingPlace::kWorker;
    /// Bytes that a worker may map for the frame in addition to what it maps when idle. 0: the limit of the pool holds.
    std::size_t memory = 0;
};

using UseWords = std::function<void(std::span<const std::uint16_t> words)>;

/// Decodes a grey frame and calls `use` once with width x height words, row by row. 8-bit samples are widened, and
/// signed ones are in two's complement. The words are valid during the call only. They are not to be trusted: damaged
/// data may have taken control of the worker that wrote them. Any number of threads may decode at a time.
/// Throws Refusal, also if the data crashes its decoder or takes too long, and std::bad_alloc.
void decode_frame(const CompressedFrame& frame, const UseWords& use);

}  // namespace Norvane::Host
