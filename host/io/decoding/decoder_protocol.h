// SPDX-License-Identifier: Apache-2.0
/// The protocol between the program and its workers. Each frame has a request and an answer over a socket that keeps
/// messages whole. The compressed bytes and the words are in shared memory. When a worker starts, it sends an answer
/// with the outcome kReady.
#pragma once

#include "io/decoding/decode_frame.h"

namespace Norvane::Host {

/// File descriptors in the worker.
inline constexpr int kSocketOfWorker = 3;
inline constexpr int kMemoryOfWorker = 4;

/// Increase it with every change of this file. A worker sends it when it is ready.
inline constexpr std::uint64_t kProtocolVersion = 2;

struct DecodeRequest {
    std::uint64_t image;         ///< repeated in the answer; 1 for the first image of a worker
    std::uint64_t byte_count;    ///< number of compressed bytes
    std::uint64_t memory_bytes;  ///< size of the shared memory, which may have grown
    std::uint32_t codec;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t bits;
    std::uint32_t processor_seconds;  ///< after this time the worker is ended
    std::uint32_t unused;
};

enum class Outcome : std::uint32_t { kReady = 1, kFilled, kRefused, kOutOfMemory };

struct DecodeAnswer {
    std::uint64_t image;         ///< that of the request; kProtocolVersion if the outcome is kReady
    std::uint64_t bytes_in_use;  ///< size of the worker's heap after the image
    Outcome outcome;
    std::uint32_t text_length;
    char text[232];  ///< the refusal
};

/// The shared memory: the words first, then the compressed bytes.
struct SharedLayout {
    SharedLayout(std::uint64_t width, std::uint64_t height, std::uint64_t byte_count)
        : words(static_cast<std::size_t>(width * height)),
          first_byte((words * sizeof(std::uint16_t) + 63) / 64 * 64),
          size(first_byte + static_cast<std::size_t>(byte_count)) {}
    std::size_t words, first_byte, size;
};

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif
#else
inline constexpr bool kIsSanitized = false;
#endif

/// A worker ends with this code after the report of a sanitizer.
inline constexpr int kSanitizerExitCode = 99;

}  // namespace Norvane::Host
