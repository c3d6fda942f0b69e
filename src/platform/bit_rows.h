// SPDX-License-Identifier: Apache-2.0
/// Rows of 1-bit images as words of 64 pixels, so that whole words are combined, shifted and scanned at once.
///
/// Pixel x of a row is bit 63 - x % 64 of word x / 64: as in the bytes of the row, the most significant bit is
/// leftmost.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane::BitRows {

using Word = std::uint64_t;
inline constexpr std::size_t kWordPixels = 64;

[[nodiscard]] constexpr std::size_t words_for(std::size_t pixels) { return (pixels + kWordPixels - 1) / kWordPixels; }

/// The first `count` (0 to 64) pixels of a word.
[[nodiscard]] constexpr Word leading(std::size_t count) { return count == 0 ? 0 : ~Word{0} << (kWordPixels - count); }

/// Reads a row of bytes; words beyond its last byte are 0. The bytes must fit the words.
inline void load(std::span<const unsigned char> bytes, std::span<Word> words) {
    const std::size_t whole = bytes.size() / 8;
    for (std::size_t i = 0; i < whole; ++i) {
        const auto b = bytes.subspan(8 * i).first<8>();
        words[i] = Word{b[0]} << 56 | Word{b[1]} << 48 | Word{b[2]} << 40 | Word{b[3]} << 32 | Word{b[4]} << 24 |
                   Word{b[5]} << 16 | Word{b[6]} << 8 | Word{b[7]};
    }
    std::ranges::fill(words.subspan(whole), Word{0});
    for (std::size_t i = 8 * whole; i < bytes.size(); ++i) words[whole] |= Word{bytes[i]} << (56 - 8 * (i % 8));
}

/// Writes a row of bytes.
inline void store(std::span<const Word> words, std::span<unsigned char> bytes) {
    const std::size_t whole = bytes.size() / 8;
    for (std::size_t i = 0; i < whole; ++i) {
        const auto b = bytes.subspan(8 * i).first<8>();
        for (std::size_t k = 0; k < 8; ++k) b[k] = static_cast<unsigned char>(words[i] >> (56 - 8 * k));
    }
    for (std::size_t i = 8 * whole; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(words[whole] >> (56 - 8 * (i % 8)));
}

/// The 64 pixels from pixel `at` on; after the end of the row are zeros.
[[nodiscard]] inline Word pixels_from(std::span<const Word> words, std::size_t at) {
    const std::size_t i = at / kWordPixels, shift = at % kWordPixels;
    if (i >= words.size()) return 0;
    const Word next = i + 1 < words.size() ? words[i + 1] : 0;
    return shift == 0 ? words[i] : words[i] << shift | next >> (kWordPixels - shift);
}

/// Sets those pixels x + shift of `to` whose pixel x is set in `from`; those that leave `to` are lost.
inline void add_shifted(std::span<const Word> from, std::int64_t shift, std::span<Word> to) {
    // Whole words to the right come first, so that only a shift to the left by less than a word remains.
    const auto right = shift > 0 ? words_for(static_cast<std::size_t>(shift)) : 0;
    const auto left = static_cast<std::size_t>(static_cast<std::int64_t>(right * kWordPixels) - shift);
    for (std::size_t i = 0; i < to.size(); ++i) {
        if (i + 1 < right) continue;
        if (i + 1 == right) {  // the pixels that the first word of `from` has to the left of its remainder
            to[i] |= from.empty() || left == 0 ? 0 : from[0] >> (kWordPixels - left);
            continue;
        }
        to[i] |= pixels_from(from, (i - right) * kWordPixels + left);
    }
}

/// Clears the pixels outside [first, end).
inline void keep_only(std::span<Word> words, std::size_t first, std::size_t end) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::size_t from = i * kWordPixels;
        const auto inside = [from](std::size_t x) { return std::clamp(x, from, from + kWordPixels) - from; };
        words[i] &= leading(inside(end)) & ~leading(inside(first));
    }
}

/// The first pixel from `at` on that is set (or clear); the end of the words if there is none.
[[nodiscard]] inline std::size_t find(std::span<const Word> words, std::size_t at, bool set) {
    std::size_t i = at / kWordPixels;
    if (i >= words.size()) return words.size() * kWordPixels;
    const Word flip = set ? 0 : ~Word{0};
    Word word = (words[i] ^ flip) & ~leading(at % kWordPixels);
    while (word == 0) {
        if (++i == words.size()) return words.size() * kWordPixels;
        word = words[i] ^ flip;
    }
    return i * kWordPixels + static_cast<std::size_t>(std::countl_zero(word));
}

}  // namespace Norvane::BitRows
