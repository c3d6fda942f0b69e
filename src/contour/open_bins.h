// SPDX-License-Identifier: Apache-2.0
/// Knows which angle bins of a contour search still take samples, so that pixels of closed bins can be skipped.
#pragma once

#include <norvane/masking.h>

#include "model/geometry.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Norvane {

class OpenBins {
public:
    OpenBins() { words.fill(~std::uint64_t{0}); }

    void close(int bin) { words[word_of(bin)] &= ~(std::uint64_t{1} << (bin % kWordBins)); }

    [[nodiscard]] bool any(const Interval<int>& bins) const {
        const auto [first, last] = bins;
        const std::uint64_t from_first = ~std::uint64_t{0} << (first % kWordBins);
        const std::uint64_t up_to_last = ~std::uint64_t{0} >> (kWordBins - 1 - last % kWordBins);
        if (word_of(first) == word_of(last)) return (words[word_of(first)] & from_first & up_to_last) != 0;
        if ((words[word_of(first)] & from_first) != 0 || (words[word_of(last)] & up_to_last) != 0) return true;
        for (std::size_t i = word_of(first) + 1; i < word_of(last); ++i)
            if (words[i] != 0) return true;
        return false;
    }

private:
    static constexpr int kWordBins = 64;
    [[nodiscard]] static std::size_t word_of(int bin) { return static_cast<std::size_t>(bin / kWordBins); }

    std::array<std::uint64_t, (Masking::c_num_angles + kWordBins - 1) / kWordBins> words;
};

}  // namespace Norvane
