// SPDX-License-Identifier: Apache-2.0
/// SHA-256 (FIPS 180-4) for the browser, where OpenSSL is not compiled.
#include "export/sha256.h"

#include <bit>
#include <cstddef>
#include <vector>

namespace Norvane::Host {
namespace {

using Words = std::array<std::uint32_t, 8>;

constexpr std::array<std::uint32_t, 64> kRounds{
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
constexpr std::size_t kBlock = 64;  // bytes

std::array<std::uint32_t, 64> schedule_of(const std::uint8_t* block) {
    std::array<std::uint32_t, 64> w{};
    for (std::size_t i = 0; i < 16; ++i) {
        for (std::size_t byte = 0; byte < 4; ++byte) w[i] = w[i] << 8U | block[4 * i + byte];
    }
    for (std::size_t i = 16; i < w.size(); ++i) {
        const std::uint32_t a = w[i - 15], b = w[i - 2];
        w[i] = w[i - 16] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ a >> 3U) + w[i - 7] +
               (std::rotr(b, 17) ^ std::rotr(b, 19) ^ b >> 10U);
    }
    return w;
}

void add_block(const std::uint8_t* block, Words& state) {
    const auto w = schedule_of(block);
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < w.size(); ++i) {
        const std::uint32_t one =
            h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + ((e & f) ^ (~e & g)) + kRounds[i] + w[i];
        const std::uint32_t two =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g, g = f, f = e, e = d + one;
        d = c, c = b, b = a, a = one + two;
    }
    const Words added{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state.size(); ++i) state[i] += added[i];
}

}  // namespace

Sha256 sha256(std::span<const std::uint8_t> bytes) {
    Words state{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    const std::size_t whole = bytes.size() / kBlock * kBlock;
    for (std::size_t at = 0; at < whole; at += kBlock) add_block(&bytes[at], state);
    std::vector<std::uint8_t> rest(bytes.begin() + static_cast<std::ptrdiff_t>(whole), bytes.end());
    rest.push_back(0x80);
    while (rest.size() % kBlock != kBlock - 8) rest.push_back(0);
    const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
    for (int shift = 56; shift >= 0; shift -= 8) rest.push_back(static_cast<std::uint8_t>(bits >> shift));
    for (std::size_t at = 0; at < rest.size(); at += kBlock) add_block(&rest[at], state);
    Sha256 digest;
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<std::uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 15U];
    }
    return text;
}

}  // namespace Norvane::Host
