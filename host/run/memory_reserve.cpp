// SPDX-License-Identifier: Apache-2.0
#include "run/memory_reserve.h"

#include <sys/mman.h>

#include <atomic>
#include <cstddef>
#include <new>

namespace Norvane::Host {
namespace {

constexpr std::size_t kBytes = std::size_t{4} << 20;  // never touched, so it costs only address space

// One per process, like the handler.
std::atomic<void*> block{nullptr};

void release() {
    if (void* held = block.exchange(nullptr)) (void)munmap(held, kBytes);
}

void on_failure() {
    release();
    throw std::bad_alloc();  // without a second try, which would use up the memory for cleaning up
}

}  // namespace

MemoryReserve::MemoryReserve() : old_handler(std::set_new_handler(on_failure)) { refill(); }

MemoryReserve::~MemoryReserve() {
    std::set_new_handler(old_handler);
    release();
}

void MemoryReserve::refill() const {
    if (block != nullptr) return;
    void* fresh = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    void* none = nullptr;
    if (fresh != MAP_FAILED && !block.compare_exchange_strong(none, fresh)) (void)munmap(fresh, kBytes);
}

}  // namespace Norvane::Host
