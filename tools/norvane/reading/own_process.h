// SPDX-License-Identifier: Apache-2.0
/// Work that must not be able to end the program.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace Norvane::Host {

/// Lets `write` fill `words` in a process of its own and waits for it. A Refusal or std::bad_alloc comes back as if it
/// had been thrown here. Where the process ends before `write` does (an assertion or a fault of a library that it
/// calls), that is a Refusal too, or std::bad_alloc where it was killed, and nothing is printed. `write` must touch
/// nothing that other threads may hold: they are not there in its process.
void fill_in_own_process(std::span<std::uint16_t> words, const std::function<void(std::span<std::uint16_t>)>& write);

}  // namespace Norvane::Host
