// SPDX-License-Identifier: Apache-2.0
/// The bytes of a fuzzer, read as numbers. After the last byte, every number is 0.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Norvane::Fuzz {

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : bytes(data, size) {}

    [[nodiscard]] std::uint8_t byte() {
        if (bytes.empty()) return 0;
        const std::uint8_t value = bytes.front();
        bytes = bytes.subspan(1);
        return value;
    }
    [[nodiscard]] std::uint16_t word() {  // in a fixed order, so that inputs mean the same with every compiler
        const unsigned low = byte();
        return static_cast<std::uint16_t>(low | unsigned{byte()} << 8U);
    }
    [[nodiscard]] std::uint32_t number() {
        const std::uint32_t low = word();
        return low | std::uint32_t{word()} << 16U;
    }
    [[nodiscard]] float real() { return std::bit_cast<float>(number()); }
    [[nodiscard]] bool flag() { return (byte() & 1U) != 0; }
    /// A number from 0 to limit - 1.
    [[nodiscard]] unsigned below(unsigned limit) { return (limit > 256 ? word() : byte()) % limit; }
    template <class Value, std::size_t Count>
    [[nodiscard]] Value one_of(const std::array<Value, Count>& values) {
        return values[below(Count)];
    }
    /// An enumerator, or a value that is none.
    template <class Enumeration>
    [[nodiscard]] Enumeration enumerator() {
        return static_cast<Enumeration>(static_cast<std::int8_t>(byte()));
    }
    [[nodiscard]] std::span<const std::uint8_t> rest() const { return bytes; }

private:
    std::span<const std::uint8_t> bytes;
};

/// Ends the program for a fault that the sanitizers cannot see.
inline void require(bool holds, const char* what) {
    if (holds) return;
    (void)std::fprintf(stderr, "fuzz: not so: %s\n", what);
    std::abort();
}

/// The name of a file in memory that holds these bytes until the next call.
inline std::string file_of(std::span<const std::uint8_t> bytes) {
    static const int descriptor = memfd_create("norvane-fuzz", 0);
    require(ftruncate(descriptor, 0) == 0, "the file can be emptied");
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            pwrite(descriptor, bytes.data() + written, bytes.size() - written, static_cast<off_t>(written));
        require(count > 0, "the file can be written");
        written += static_cast<std::size_t>(count);
    }
    return "/proc/self/fd/" + std::to_string(descriptor);
}

inline std::string file_of(const std::string& bytes) {
    return file_of(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

}  // namespace Norvane::Fuzz
