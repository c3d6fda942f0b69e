// SPDX-License-Identifier: Apache-2.0
#include "reading/read_pgm.h"

#include "reading/read_image.h"
#include "reading/refusal.h"

#include <bit>
#include <cstddef>
#include <string>
#include <string_view>

namespace Norvane::Host {
namespace {

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Walks through the words of a netpbm header or of plain samples. A comment reaches from # to the end of its line.
class Scanner {
public:
    explicit Scanner(std::string_view bytes) : text(bytes), at(2) {}

    unsigned number(const char* what) {
        skip_space_and_comments();
        if (at >= text.size()) throw Refusal(std::string("is truncated (") + what + " is missing)");
        constexpr unsigned kEnough = 100'000'000;
        unsigned value = 0;
        const std::size_t start = at;
        for (; at < text.size() && text[at] >= '0' && text[at] <= '9' && value < kEnough; ++at) {
            value = value * 10 + static_cast<unsigned>(text[at] - '0');
        }
        const bool is_word_end = at >= text.size() || is_space(text[at]) || text[at] == '#';
        if (at == start || !is_word_end) throw Refusal(std::string("is not a valid PGM file (bad ") + what + ")");
        return value;
    }

    /// The raw samples begin after exactly one white-space character.
    std::string_view raw_samples() { return text.substr(std::min(at + 1, text.size())); }

private:
    void skip_space_and_comments() {
        while (at < text.size() && (is_space(text[at]) || text[at] == '#')) {
            if (text[at] == '#') at = std::min(text.find('\n', at), text.size() - 1);
            ++at;
        }
    }

    std::string_view text;
    std::size_t at;
};

void read_plain(Scanner& scanner, SourceImage& image) {
    for (std::uint16_t& sample : image.samples) {
        sample = static_cast<std::uint16_t>(std::min(scanner.number("a sample"), 65536U - 1));
    }
}

void read_raw(std::string_view bytes, bool is_wide, SourceImage& image) {
    const std::size_t bytes_per_sample = is_wide ? 2 : 1;
    if (bytes.size() / bytes_per_sample < image.samples.size()) {
        throw Refusal("is truncated (" + std::to_string(bytes.size()) + " of " +
                      std::to_string(image.samples.size() * bytes_per_sample) + " bytes of samples)");
    }
    const auto byte = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        image.samples[i] = is_wide ? static_cast<std::uint16_t>(byte(2 * i) * 256 + byte(2 * i + 1)) : byte(i);
    }
}

void refuse_other_netpbm(char kind) {
    if (kind == '3' || kind == '6') throw Refusal("is a colour image; grey images are read");
    if (kind == '1' || kind == '4') throw Refusal("is a bitmap of black and white; grey images are read");
    if (kind == '7') throw Refusal("is a PAM file; PNG, PGM, TIFF and DICOM are read");
}

}  // namespace

SourceImage read_pgm(const std::filesystem::path& file) {
    const std::string bytes = read_bytes(file);
    refuse_other_netpbm(bytes.at(1));
    const bool is_plain = bytes.at(1) == '2';

    Scanner scanner(bytes);
    const unsigned width = scanner.number("the width");
    const unsigned height = scanner.number("the height");
    const unsigned largest = scanner.number("the maximum value");
    if (largest == 0 || largest > 65535)
        throw Refusal("has a maximum value of " + std::to_string(largest) + " (1 to 65535)");
    // A sample takes at least a byte, so a header that promises more than the file holds costs no memory.
    if (width != 0 && height > bytes.size() / width) throw Refusal("is truncated (its header promises more samples)");

    SourceImage image;
    image.format = "PGM";
    image.used_bits = static_cast<unsigned>(std::bit_width(largest));
    set_size(image, width, height);
    if (is_plain) {
        read_plain(scanner, image);
    } else {
        read_raw(scanner.raw_samples(), largest > 255, image);
    }
    for (const std::uint16_t sample : image.samples) {
        if (sample > largest) throw Refusal("holds a sample of " + std::to_string(sample) + " above its maximum value");
    }
    return image;
}

}  // namespace Norvane::Host
