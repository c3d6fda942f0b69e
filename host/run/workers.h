// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>

namespace Norvane::Host {

/// Calls work(0) .. work(count - 1), each once and in this order, on up to `jobs` threads; one of them is that of the
/// caller. Once `is_stopped` returns true, no more calls begin. `work` must not throw.
void run_workers(std::size_t count, unsigned jobs, const std::function<bool()>& is_stopped,
                 const std::function<void(std::size_t)>& work);

}  // namespace Norvane::Host
