// SPDX-License-Identifier: Apache-2.0
/// Counts the bytes from operator new and their peak. The benchmark program replaces the global operators.
#pragma once

#include <cstddef>

namespace Norvane::Bench {

/// Resets the peak. From now on, peak_bytes() counts only what is held in addition to the bytes held at this moment.
void restart_peak();
[[nodiscard]] std::size_t peak_bytes();

}  // namespace Norvane::Bench
