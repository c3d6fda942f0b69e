// SPDX-License-Identifier: Apache-2.0
#include "allocations.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::ptrdiff_t> held{0}, peak{0}, base{0};

void* counted(std::size_t size) {
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    const std::ptrdiff_t now = held += static_cast<std::ptrdiff_t>(malloc_usable_size(block));
    std::ptrdiff_t before = peak;
    while (now > before && !peak.compare_exchange_weak(before, now)) {
    }
    return block;
}

void release(void* block) {
    if (block != nullptr) held -= static_cast<std::ptrdiff_t>(malloc_usable_size(block));
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return counted(size); }
void* operator new[](std::size_t size) { return counted(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }

namespace Norvane::Bench {

void restart_peak() {
    base = held.load();
    peak = held.load();
}

std::size_t peak_bytes() { return static_cast<std::size_t>(peak - base); }

}  // namespace Norvane::Bench
