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
    unsigned processor_seconds = 30;              ///< for an image; more for a large one
    unsigned waiting_seconds = 1200;              ///< for an image; a worker that does not even compute is ended
};

/// A worker: another process, which decodes frame after frame. For one thread at a time.
class DecoderProcess {
public:
    /// Starts the program and waits until it is ready. Throws Refusal when that fails, std::bad_alloc.
    DecoderProcess(const std::string& program, const DecoderLimits& its_limits);
    ~DecoderProcess();
    DecoderProcess(const DecoderProcess&) = delete;
    DecoderProcess& operator=(const DecoderProcess&) = delete;

    /// Hands a frame over. False if the process has ended meanwhile. Throws std::bad_alloc.
    [[nodiscard]] bool send(const CompressedFrame& frame);
    /// The words of the frame that was sent, valid until the next one. Throws Refusal, std::bad_alloc.
    [[nodiscard]] std::span<const std::uint16_t> words();
    /// Whether it can take another frame.
    [[nodiscard]] bool is_fit() const { return is_fit_now; }
    /// Bytes that it may map for a frame.
    [[nodiscard]] std::size_t most_memory() const { return limits.memory; }

    /// In a fork of the process that started it: lets go of everything and touches the worker no more.
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
