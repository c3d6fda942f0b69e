// SPDX-License-Identifier: Apache-2.0
#include "run/name_text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace Norvane::Host {
namespace {

// Number of bytes of the UTF-8 character at the beginning of the text; 0 if there is none.
std::size_t character_size(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t first = byte(0);
    if (first < 0x80U) return 1;
    const std::size_t size = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    if (first < 0xC2U || first > 0xF4U || text.size() < size) return 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) return 0;
    }
    // Overlong forms, halves of surrogate pairs and codes above the last character are invalid.
    const std::uint8_t second = byte(1);
    const bool is_wrong = (first == 0xE0U && second < 0xA0U) || (first == 0xEDU && second > 0x9FU) ||
                          (first == 0xF0U && second < 0x90U) || (first == 0xF4U && second > 0x8FU);
    return is_wrong ? 0 : size;
}

constexpr std::string_view kDigits = "0123456789ABCDEF";

}  // namespace

std::string text_of_name(std::string_view name) {
    std::string text;
    while (!name.empty()) {
        const auto byte = static_cast<std::uint8_t>(name.front());
        const std::size_t size = character_size(name);
        const bool is_plain = size > 1 || (size == 1 && byte >= 0x20U && byte != 0x7FU && byte != '%');
        if (is_plain) {
            text += name.substr(0, size);
        } else {
            text += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
        }
        name.remove_prefix(std::max<std::size_t>(1, size));
    }
    return text;
}

std::string name_of_text(std::string_view text) {
    std::string name;
    for (std::size_t i = 0; i < text.size(); ++i) {
        constexpr int kHexadecimal = 16;
        std::uint8_t byte = 0;
        const char* digits = text.data() + i + 1;
        if (text[i] == '%' && i + 2 < text.size() &&
            std::from_chars(digits, digits + 2, byte, kHexadecimal).ptr == digits + 2) {
            name += static_cast<char>(byte);
            i += 2;
        } else {
            name += text[i];
        }
    }
    return name;
}

}  // namespace Norvane::Host
