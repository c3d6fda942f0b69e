// SPDX-License-Identifier: Apache-2.0
// Lets a whole test program run without the wider vector registers: NORVANE_TEST_BASELINE=1.
#include "model/wide_vectors.h"

#include <cstdlib>

namespace {
[[maybe_unused]] const bool chosen = Norvane::baseline_only = std::getenv("NORVANE_TEST_BASELINE") != nullptr;
}
