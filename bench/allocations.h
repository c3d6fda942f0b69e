// SPDX-License-Identifier: Apache-2.0
/// Bytes held from operator new, and their peak: the benchmark program replaces the global operators.
#pragma once

#include <cstddef>

namespace Norvane::Bench {

/// Forgets the peak; from now on peak_bytes() counts what is held beyond the bytes held at this moment.
void restart_peak();
[[nodiscard]] std::size_t peak_bytes();

}  // namespace Norvane::Bench
