// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/decoder_protocol.h"
#include "io/decoding/descriptor.h"
#include "io/decoding/shared_memory.h"

#include <sys/types.h>

#include <string>

namespace Norvane::Host {

struct DecoderLimits {
    std::size_t memory = std::size_t{768} << 20;  ///< bytes, see CompressedFrame
    unsigned processor_seconds = 30;              ///< for one image; a large one gets more
    unsigned waiting_seconds = 1200;              ///< for one image; ends a worker that hangs without computing
};

/// A worker: another process that decodes one frame after another. One thread may use it at a time.
class DecoderProcess {
public:
    /// Starts the program and waits until it is ready. Throws Refusal if that fails, and std::bad_alloc.
    DecoderProcess(const std::string& program, const DecoderLimits& its_limits);
    ~DecoderProcess();
    DecoderProcess(const DecoderProcess&) = delete;
    DecoderProcess& operator=(const DecoderProcess&) = delete;

    /// Sends a frame to the worker. Returns false if the worker has ended meanwhile. Throws std::bad_alloc.
    [[nodiscard]] bool send(const CompressedFrame& frame);
    /// Waits for the words of the frame that was sent. They are valid until the next frame is sent. Throws Refusal and
    /// std::bad_alloc.
    [[nodiscard]] std::span<const std::uint16_t> words();
    /// Whether the worker can take another frame.
    [[nodiscard]] bool is_fit() const { return is_fit_now; }
    /// Bytes that the worker may map for a frame.
    [[nodiscard]] std::size_t most_memory() const { return limits.memory; }

    /// For a forked child of the process that started the worker: releases everything without touching the worker.
    void abandon();

private:
    enum class Arrival { kAnswer, kEnd, kNothing };
    [[nodiscard]] Arrival receive(DecodeAnswer& answer, unsigned seconds) const;
    [[nodiscard]] bool is_answer_to_request(const DecodeAnswer& answer) const;
    [[noreturn]] void throw_for_end(Arrival arrival);
    [[nodiscard]] int end(bool is_given_time);

    DecoderLimits limits;
    SharedMemory memory;
    Descriptor socket{-1};
    pid_t process = -1;
    std::uint64_t image = 0;
    std::size_t word_count = 0;
    bool is_fit_now = true;
};

}  // namespace Norvane::Host
