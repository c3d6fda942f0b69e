// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/decoding/descriptor.h"

#include <cstddef>
#include <span>

namespace Norvane::Host {

/// Memory of two processes. It grows and never shrinks, and a seal sees to that: whoever has it mapped is safe from the
/// other one.
class SharedMemory {
public:
    SharedMemory();                                 ///< empty, the owner's. Throws std::system_error.
    explicit SharedMemory(int descriptor_of_other)  ///< that of another process, inherited
        : descriptor(descriptor_of_other) {}
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// The owner provides at least so many bytes. Throws std::bad_alloc.
    void grow(std::size_t size);
    /// Maps so many bytes of those that the owner has provided. Throws std::bad_alloc.
    void map(std::size_t size);
    /// What is mapped. Mapping more moves it.
    [[nodiscard]] std::span<std::byte> bytes() const { return mapped; }

    [[nodiscard]] int number() const { return descriptor.number(); }
    void close() { descriptor.close(); }

private:
    Descriptor descriptor;
    std::span<std::byte> mapped;
};

}  // namespace Norvane::Host
