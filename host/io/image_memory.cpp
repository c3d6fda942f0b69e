// SPDX-License-Identifier: Apache-2.0
#include "io/image_memory.h"

#include "io/refusal.h"

namespace Norvane::Host {
namespace {

std::string mebibytes(std::uint64_t bytes) {
    constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;
    return std::to_string((bytes + kMebibyte - 1) / kMebibyte) + " MiB";
}

}  // namespace

void refuse_beyond_memory(std::uint64_t limit, std::uint64_t bytes, const std::string& what) {
    if (bytes <= limit) return;
    throw Refusal("needs about " + mebibytes(bytes) + " of memory for " + what + "; --image-memory allows " +
                  mebibytes(limit));
}

}  // namespace Norvane::Host
