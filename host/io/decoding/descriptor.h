// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace Norvane::Host {

/// Owns a file descriptor.
class Descriptor {
public:
    explicit Descriptor(int number) : value(number) {}
    Descriptor(Descriptor&& other) noexcept : value(std::exchange(other.value, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value, other.value);
        return *this;
    }
    ~Descriptor() { close(); }

    void close() {
        if (value >= 0) (void)::close(std::exchange(value, -1));
    }
    [[nodiscard]] int number() const { return value; }
    [[nodiscard]] bool is_open() const { return value >= 0; }

private:
    int value;
};

}  // namespace Norvane::Host
