// SPDX-License-Identifier: Apache-2.0
#include "run/workers.h"

#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace Norvane::Host {

void run_workers(std::size_t count, unsigned jobs, const std::function<bool()>& is_stopped,
                 const std::function<void(std::size_t)>& work) {
    std::atomic<std::size_t> next{0};
    const auto pull = [&] {
        while (!is_stopped()) {
            const std::size_t index = next.fetch_add(1);
            if (index >= count) return;
            work(index);
        }
    };
    std::vector<std::jthread> others;
    try {
        for (std::size_t n = 1; n < jobs && n < count; ++n) others.emplace_back(pull);
    } catch (const std::system_error&) {
        // No more threads can be started; the existing ones do the work.
    }
    pull();
}

}  // namespace Norvane::Host
