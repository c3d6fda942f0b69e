// SPDX-License-Identifier: Apache-2.0
/// The samples of a compressed frame: JPEG, JPEG lossless, JPEG-LS, JPEG 2000 and high-throughput JPEG 2000.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace Norvane::Host {

enum class Codec { kJpeg, kJpegLs, kJpeg2000 };

/// Where the libraries of the codecs run. A fault of theirs ends the process in which it happens.
enum class DecodingPlace { kWorker, kThisProcess };

struct CompressedFrame {
    Codec codec;
    std::span<const std::uint8_t> bytes;  ///< one frame, its fragments joined
    unsigned width, height;               ///< pixels, 1 to 65535; what the codestream says must have been compared
    unsigned bits;                        ///< precision that the codestream declares; 0 for JPEG 2000
    DecodingPlace place = DecodingPlace::kWorker;
    /// Bytes that a worker may map for the frame besides what it maps when idle; 0 for what the pool allows.
    std::size_t memory = 0;
};

using UseWords = std::function<void(std::span<const std::uint16_t> words)>;

/// Decodes a grey frame and calls `use` once, with width x height words, row by row: 8-bit samples widened, signed ones
/// as two's complement. The words are valid during the call only and are not to be trusted: in a worker, damaged data
/// may have taken over what wrote them. Any number of threads may decode at a time.
/// Throws Refusal, also when the data ends or occupies its decoder, and std::bad_alloc.
void decode_frame(const CompressedFrame& frame, const UseWords& use);

}  // namespace Norvane::Host
