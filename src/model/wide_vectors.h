// SPDX-License-Identifier: Apache-2.0
/// Loops that are compiled twice: for the baseline of the platform and for its wider vector registers. The second form
/// is used if the processor has these registers, except on Windows, where GCC does not align the stack for them. Both
/// give the same bits, because the compiler may not fuse or reorder operations.
#pragma once

#include <atomic>

namespace Norvane {

/// Tests set it to compare both forms.
inline std::atomic<bool> baseline_only{false};

#if defined(__x86_64__) && defined(__GNUC__) && !defined(_WIN32)

namespace WideVectors {

[[nodiscard]] inline bool are_there() {
    static const bool known = __builtin_cpu_supports("avx2") != 0;
    return known && !baseline_only.load(std::memory_order_relaxed);
}

/// "flatten" inlines every call into this function, so that everything is compiled for the wider registers.
template <class Work>
[[gnu::target("avx2"), gnu::flatten]] void run(Work& work) {
    work();
}

}  // namespace WideVectors

/// Runs work(), an inner loop over many samples.
template <class Work>
void run_wide(Work work) {
    if (WideVectors::are_there())
        WideVectors::run(work);
    else
        work();
}

#else

template <class Work>
void run_wide(Work work) {
    work();
}

#endif

}  // namespace Norvane
