// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/descriptor.h"

#include <cstddef>
#include <span>

namespace Norvane::Host {

/// Memory that two processes share. A seal makes sure that it can grow but never shrink. Thus neither process can take
/// away what the other one has mapped.
class SharedMemory {
public:
    SharedMemory();                                 ///< new and empty, for the owner; throws std::system_error
    explicit SharedMemory(int descriptor_of_other)  ///< the memory of another process, whose descriptor was inherited
        : descriptor(descriptor_of_other) {}
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// For the owner: provides and maps at least `size` bytes. Throws std::bad_alloc.
    void grow(std::size_t size);
    /// Maps `size` of the bytes that the owner has provided. Throws std::bad_alloc.
    void map(std::size_t size);
    /// The bytes that are mapped. If more are mapped, they may move.
    [[nodiscard]] std::span<std::byte> bytes() const { return mapped; }

    [[nodiscard]] int number() const { return descriptor.number(); }
    void close() { descriptor.close(); }

private:
    Descriptor descriptor;
    std::span<std::byte> mapped;
};

}  // namespace Norvane::Host
