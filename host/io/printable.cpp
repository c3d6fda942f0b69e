// SPDX-License-Identifier: Apache-2.0
#include "io/printable.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ostream>

namespace Norvane::Host {
namespace {

constexpr char32_t kFirstOfTwoBytes = 0x80, kFirstOfThreeBytes = 0x800, kFirstOfFourBytes = 0x10000;

/// The first character of a text. If its bytes are not UTF-8, `size` is 0.
struct Character {
    char32_t code = 0;
    std::size_t size = 0;
};

Character first_of(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < kFirstOfTwoBytes) return {lead, 1};
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead > 0xF7 || text.size() < size) return {};
    char32_t code = lead & (0x7FU >> size);
    for (const char c : text.substr(1, size - 1)) {
        if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80) return {};
        code = (code << 6U) | (static_cast<unsigned char>(c) & 0x3FU);
    }
    constexpr char32_t kLeast[] = {0, 0, kFirstOfTwoBytes, kFirstOfThreeBytes, kFirstOfFourBytes};
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < kLeast[size] || code > 0x10FFFF || is_surrogate ? Character{} : Character{code, size};
}

// Control characters, line separators, and the characters of Unicode's property Bidi_Control.
constexpr struct {
    char32_t first, last;
} kUnprintable[] = {{0x00, 0x1F}, {0x7F, 0x9F}, {0x61C, 0x61C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};

constexpr const char* kByte = "\\x%02x";

std::string escape(char32_t code, const char* format) {
    if (code == U'\t') return "\\t";
    if (code == U'\n') return "\\n";
    if (code == U'\r') return "\\r";
    char text[16];
    (void)std::snprintf(text, sizeof text, format, static_cast<unsigned>(code));
    return text;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string made;
    made.reserve(text.size());
    while (!text.empty()) {
        const Character c = first_of(text);
        if (c.size == 0) {
            made += escape(static_cast<unsigned char>(text[0]), kByte);
        } else if (std::ranges::any_of(kUnprintable,
                                       [&c](const auto& r) { return c.code >= r.first && c.code <= r.last; })) {
            made += escape(c.code, c.code < 0x20 ? kByte : "\\u%04x");
        } else {
            made += text.substr(0, c.size);
        }
        text.remove_prefix(std::max<std::size_t>(c.size, 1));
    }
    return made;
}

void print_line(std::ostream& stream, std::string_view text) { stream << printable(text) << '\n'; }

void complain(std::ostream& err, std::string_view sentence) {
    print_line(err, "norvane: " + std::string(sentence));
    err.flush();
}

}  // namespace Norvane::Host
