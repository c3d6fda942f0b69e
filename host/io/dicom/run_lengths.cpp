// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/run_lengths.h"

#include "io/little_endian.h"
#include "io/refusal.h"

#include <fmt/format.h>

#include <algorithm>

namespace Norvane::Host {
namespace {

constexpr std::size_t kHeaderBytes = 64;  // the number of planes and up to 15 start offsets, 4 bytes each

/// Adds a plane to the words, shifted to its bits. Returns how many words it filled.
std::size_t add_plane(std::span<const std::uint8_t> plane, unsigned shift, std::span<std::uint16_t> words) {
    std::size_t reached = 0;
    std::size_t at = 0;
    const auto put = [&](std::uint8_t byte) {
        words[reached] = static_cast<std::uint16_t>(words[reached] | byte << shift);
        ++reached;
    };
    while (at < plane.size() && reached < words.size()) {
        const unsigned control = plane[at++];
        if (control == 128) continue;
        if (control < 128) {  // control + 1 literal bytes follow
            const std::size_t count = std::min({control + std::size_t{1}, plane.size() - at, words.size() - reached});
            for (std::size_t i = 0; i < count; ++i) put(plane[at + i]);
            at += control + 1;
        } else if (at < plane.size()) {  // one byte, repeated
            const std::size_t count = std::min(std::size_t{257} - control, words.size() - reached);
            for (std::size_t i = 0; i < count; ++i) put(plane[at]);
            ++at;
        }
    }
    return reached;
}

}  // namespace

void decode_run_lengths(std::span<const std::uint8_t> bytes, unsigned bytes_per_sample,
                        std::span<std::uint16_t> words) {
    if (bytes.size() < kHeaderBytes || little_endian_32(bytes, 0) != bytes_per_sample) {
        throw Refusal(fmt::format("has RLE data that does not fit its samples of {} bytes", bytes_per_sample));
    }
    const auto start_of = [&bytes](unsigned plane) -> std::size_t { return little_endian_32(bytes, 4 + 4 * plane); };
    std::ranges::fill(words, std::uint16_t{0});
    for (unsigned plane = 0; plane < bytes_per_sample; ++plane) {
        const bool is_last = plane + 1 == bytes_per_sample;
        const std::size_t end = is_last ? bytes.size() : std::min(bytes.size(), start_of(plane + 1));
        const std::size_t start = std::min(end, start_of(plane));
        const unsigned shift = 8 * (bytes_per_sample - 1 - plane);
        const std::size_t reached = add_plane(bytes.subspan(start, end - start), shift, words);
        if (reached == words.size()) continue;
        throw Refusal(fmt::format("is truncated ({} of {} samples)", reached, words.size()));
    }
}

}  // namespace Norvane::Host
