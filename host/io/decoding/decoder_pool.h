// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/decoder_process.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The workers: one for each thread that is decoding. They are kept for later images.
class DecoderPool {
public:
    explicit DecoderPool(std::string decoder_program, const DecoderLimits& for_workers = {})
        : program(std::move(decoder_program)), limits(for_workers) {}

    /// See decode_frame().
    void decode(const CompressedFrame& frame, const UseWords& use);

    /// Ends the idle workers.
    void end_idle();

    // Called before and after fork(). The child does not keep the workers.
    void before_fork() { mutex.lock(); }
    void after_fork(bool is_child) noexcept;

private:
    struct GiveBack {
        DecoderPool* pool;
        void operator()(DecoderProcess* worker) const noexcept;
    };
    using Lease = std::unique_ptr<DecoderProcess, GiveBack>;
    [[nodiscard]] Lease worker_with(const CompressedFrame& frame);
    [[nodiscard]] std::unique_ptr<DecoderProcess> idle_one();

    std::mutex mutex;
    std::vector<std::unique_ptr<DecoderProcess>> idle;
    const std::string program;
    const DecoderLimits limits;
};

/// The pool of this process. It uses the decoder of this installation.
[[nodiscard]] DecoderPool& the_decoder_pool();

}  // namespace Norvane::Host
