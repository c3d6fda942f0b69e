// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Norvane::Host {

/// Keeps some memory in reserve for cleaning up after an image that needs more memory than is available. This is needed
/// because the destructors of JSON values allocate, and if one of them cannot, the program ends. The first allocation
/// that fails releases the reserve.
class MemoryReserve {
public:
    MemoryReserve();
    ~MemoryReserve();
    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;

    /// Fills the reserve again, if there is memory. Several threads may call it.
    void refill() const;

private:
    void (*old_handler)();
};

}  // namespace Norvane::Host
