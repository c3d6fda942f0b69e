// SPDX-License-Identifier: Apache-2.0
#include "export/sha256.h"

#include <openssl/sha.h>

namespace Norvane::Host {

Sha256 sha256(std::span<const std::uint8_t> bytes) {
    Sha256 digest;
    SHA256(bytes.data(), bytes.size(), digest.data());
    return digest;
}

Sha256 sha256(const std::string& text) {
    return sha256(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
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
