// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Norvane::Host {

/// While it lives, some memory is kept back for the way out of an image that needs more than there is: the destructors
/// of JSON values allocate, and one that cannot ends the program. The first allocation that fails gives it back.
class MemoryReserve {
public:
    MemoryReserve();
    ~MemoryReserve();
    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;

    /// Takes back what was given, as far as there is memory. Several threads may do so.
    void refill() const;

private:
    void (*old_handler)();
};

}  // namespace Norvane::Host
