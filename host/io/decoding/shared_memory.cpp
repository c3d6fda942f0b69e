// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <new>
#include <system_error>

namespace Norvane::Host {

SharedMemory::SharedMemory() : descriptor(memfd_create("norvane-decoder", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    if (!descriptor.is_open() || fcntl(number(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_SEAL) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
}

SharedMemory::~SharedMemory() {
    if (!mapped.empty()) (void)munmap(mapped.data(), mapped.size());
}

void SharedMemory::grow(std::size_t size) {
    if (size <= mapped.size()) return;
    // fallocate() reserves the pages. If memory is short, this call fails, and not a later access with a signal.
    while (fallocate(number(), 0, 0, static_cast<off_t>(size)) != 0) {
        if (errno != EINTR) throw std::bad_alloc();
    }
    map(size);
}

void SharedMemory::map(std::size_t size) {
    if (size <= mapped.size()) return;
    void* place = mapped.empty() ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, number(), 0)
                                 : mremap(mapped.data(), mapped.size(), size, MREMAP_MAYMOVE);
    if (place == MAP_FAILED) throw std::bad_alloc();
    mapped = {static_cast<std::byte*>(place), size};
}

}  // namespace Norvane::Host
