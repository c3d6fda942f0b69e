// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace Norvane::Host {

/// How the bits of a sample lie in its word.
struct SampleLayout {
    unsigned allocated;     ///< 8 or 16 bits
    unsigned stored;        ///< number of bits that hold the sample
    unsigned shift;         ///< number of bits below the sample
    bool is_signed;         ///< two's complement
    bool has_foreign_bits;  ///< the bits above the sample hold something else, such as an overlay
};

/// Turns words into unsigned samples. The lowest signed value becomes 0.
class SampleDecoder {
public:
    explicit SampleDecoder(const SampleLayout& layout)
        : shift(layout.shift),
          mask((1U << layout.stored) - 1),
          sign(layout.is_signed ? 1U << (layout.stored - 1) : 0),
          above((1U << (layout.allocated - layout.shift - layout.stored)) - 1),
          stored(layout.stored),
          has_foreign_bits(layout.has_foreign_bits) {}

    [[nodiscard]] std::uint16_t operator()(unsigned word) {
        const unsigned sample = word >> shift & mask;
        const unsigned rest = word >> shift >> stored & above;
        const bool is_sign_extension = rest == above && (sample & sign) != 0;
        if (rest == 0 || is_sign_extension || has_foreign_bits) return static_cast<std::uint16_t>(sample ^ sign);
        ++stray_count;
        const bool is_negative = sign != 0 && rest > above / 2;
        return static_cast<std::uint16_t>(is_negative ? 0 : mask);
    }

    /// How many words had a value beyond the range of a sample. They became the largest or the lowest value.
    [[nodiscard]] std::size_t stray() const { return stray_count; }

private:
    unsigned shift, mask, sign, above, stored;
    bool has_foreign_bits;
    std::size_t stray_count = 0;
};

}  // namespace Norvane::Host
