// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/decoder_pool.h"

#include "io/decoding/decoder_program.h"
#include "io/decoding/refusal.h"

#include <pthread.h>

#include <utility>

namespace Norvane::Host {

void DecoderPool::decode(const CompressedFrame& frame, const UseWords& use) {
    const Lease worker = worker_with(frame);
    use(worker->words());
}

DecoderPool::Lease DecoderPool::worker_with(const CompressedFrame& frame) {
    DecoderLimits wanted = limits;
    if (frame.memory != 0) wanted.memory = frame.memory;
    // A worker cannot change its memory limit, so a worker with another limit is ended.
    while (std::unique_ptr<DecoderProcess> old = idle_one()) {
        if (old->most_memory() == wanted.memory && old->send(frame)) return {old.release(), {this}};
    }
    auto fresh = std::make_unique<DecoderProcess>(program, wanted);
    (void)fresh->send(frame);  // if the worker has ended, words() reports it
    return {fresh.release(), {this}};
}

std::unique_ptr<DecoderProcess> DecoderPool::idle_one() {
    const std::lock_guard lock(mutex);
    if (idle.empty()) return nullptr;
    std::unique_ptr<DecoderProcess> last = std::move(idle.back());
    idle.pop_back();
    return last;
}

void DecoderPool::GiveBack::operator()(DecoderProcess* worker) const noexcept {
    std::unique_ptr<DecoderProcess> owned(worker);
    if (!owned->is_fit()) return;
    try {
        const std::lock_guard lock(pool->mutex);
        pool->idle.push_back(std::move(owned));
    } catch (...) {
        // There is no memory to keep the worker in the list, so it ends.
    }
}

void DecoderPool::end_idle() {
    std::vector<std::unique_ptr<DecoderProcess>> ended;
    const std::lock_guard lock(mutex);
    ended.swap(idle);
}

void DecoderPool::after_fork(bool is_child) noexcept {
    if (is_child) {
        for (const auto& worker : idle) worker->abandon();
        idle.clear();
    }
    mutex.unlock();
}

DecoderPool& the_decoder_pool() {
    // Never destroyed, because threads may still decode while the process ends.
    static DecoderPool* const pool = [] {
        auto* made = new DecoderPool(decoder_program());
        pthread_atfork([] { the_decoder_pool().before_fork(); }, [] { the_decoder_pool().after_fork(false); },
                       [] { the_decoder_pool().after_fork(true); });
        return made;
    }();
    static const struct AtExit {
        ~AtExit() { pool->end_idle(); }
    } at_exit;
    return *pool;
}

}  // namespace Norvane::Host
