// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane::Host {

/// How the bits of a sample lie in its word.
struct SampleLayout {
    unsigned allocated;     ///< 8 or 16 bits
    unsigned stored;        ///< number of bits that hold the sample
    unsigned shift;         ///< number of bits below the sample
    bool is_signed;         ///< two's complement
    bool has_foreign_bits;  ///< the bits above the sample hold something else, such as an overlay
    unsigned channels;      ///< samples of a pixel: 1, or 3 for red, green and blue
    bool is_planar;         ///< a whole plane of each channel after the other
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

    /// Turns the words into samples in their place.
    void operator()(std::span<std::uint16_t> words) {
        unsigned used = 0;
        for (const unsigned word : words) used |= word;
        const bool has_bits_above = (used >> shift >> stored & above) != 0;
        if (has_foreign_bits || !has_bits_above) {
            for (std::uint16_t& word : words) word = static_cast<std::uint16_t>((word >> shift & mask) ^ sign);
        } else {
            for (std::uint16_t& word : words) word = sample_of(word);
        }
    }

    /// How many words had a value beyond the range of a sample. They became the largest or the lowest value.
    [[nodiscard]] std::size_t stray() const { return stray_count; }

private:
    [[nodiscard]] std::uint16_t sample_of(unsigned word) {
        const unsigned sample = word >> shift & mask;
        const unsigned rest = word >> shift >> stored & above;
        const bool is_sign_extension = rest == above && (sample & sign) != 0;
        if (rest == 0 || is_sign_extension) return static_cast<std::uint16_t>(sample ^ sign);
        ++stray_count;
        const bool is_negative = sign != 0 && rest > above / 2;
        return static_cast<std::uint16_t>(is_negative ? 0 : mask);
    }

    unsigned shift, mask, sign, above, stored;
    bool has_foreign_bits;
    std::size_t stray_count = 0;
};

}  // namespace Norvane::Host
