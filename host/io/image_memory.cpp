// SPDX-License-Identifier: Apache-2.0
#include "io/image_memory.h"

#include "io/refusal.h"

#include <fmt/format.h>

namespace Norvane::Host {
namespace {

std::string mebibytes(std::uint64_t bytes) {
    constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;
    return fmt::format("{} MiB", (bytes + kMebibyte - 1) / kMebibyte);
}

}  // namespace

void refuse_beyond_memory(std::uint64_t limit, std::uint64_t bytes, const std::string& what) {
    if (bytes <= limit) return;
    throw Refusal(fmt::format("needs about {} of memory for {}; --image-memory allows {}", mebibytes(bytes), what,
                              mebibytes(limit)));
}

}  // namespace Norvane::Host
