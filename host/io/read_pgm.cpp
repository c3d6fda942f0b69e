// SPDX-License-Identifier: Apache-2.0
#include "io/read_pgm.h"

#include "io/byte_source.h"
#include "io/colour_channels.h"
#include "io/refusal.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Norvane::Host {
namespace {

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Reads the words of a netpbm header or of plain samples. A comment runs from # to the end of its line.
class Scanner {
public:
    explicit Scanner(FileBytes& file) : bytes(file) { take(); }

    /// The next character. The file begins with two: P, and the digit of its kind.
    [[nodiscard]] char kind() { return static_cast<char>(take().value_or(0)); }

    unsigned number(const char* what) {
        skip_space_and_comments();
        if (!next) throw Refusal(std::string("is truncated (") + what + " is missing)");
        constexpr unsigned kEnough = 100'000'000;
        unsigned value = 0;
        bool has_digit = false;
        for (; next && *next >= '0' && *next <= '9' && value < kEnough; take()) {
            value = value * 10 + static_cast<unsigned>(*next - '0');
            has_digit = true;
        }
        const bool is_word_end = !next || is_space(*next) || *next == '#';
        if (!has_digit || !is_word_end) throw Refusal(std::string("is not a valid PGM file (") + what + " is invalid)");
        return value;
    }

private:
    // Returns the next character and reads the one after it. Exactly one white-space character separates the header
    // from raw samples, so the samples are next in the file after the last number of the header.
    std::optional<char> take() {
        const std::optional<char> taken = next;
        std::uint8_t byte = 0;
        next = bytes.read({&byte, 1}) == 1 ? std::optional(static_cast<char>(byte)) : std::nullopt;
        return taken;
    }

    void skip_space_and_comments() {
        constexpr std::uint64_t kMostBytes = 1U << 16;  // a sparse file could hold an endless comment
        const std::uint64_t start = bytes.position();
        bool is_comment = false;
        while (next && (is_comment || is_space(*next) || *next == '#')) {
            is_comment = *next == '#' || (is_comment && *next != '\n');
            take();
            if (bytes.position() - start > kMostBytes) throw Refusal("is not a valid PGM file (a comment without end)");
        }
    }

    FileBytes& bytes;
    std::optional<char> next;
};

void read_plain_row(Scanner& scanner, std::span<std::uint16_t> row) {
    for (std::uint16_t& sample : row) {
        sample = static_cast<std::uint16_t>(std::min(scanner.number("a sample"), 65536U - 1));
    }
}

void read_raw_row(FileBytes& file, std::vector<std::uint8_t>& bytes, std::span<std::uint16_t> row) {
    if (file.read(bytes) < bytes.size()) throw Refusal("is truncated");
    const bool is_narrow = bytes.size() == row.size();
    for (std::size_t i = 0; i < row.size(); ++i) {
        row[i] = is_narrow ? bytes[i] : static_cast<std::uint16_t>(bytes[2 * i] << 8U | bytes[2 * i + 1]);
    }
}

// A sample takes at least one byte. The check comes before the allocation, so a false header costs no memory.
void refuse_truncated(FileBytes& file, std::uint64_t samples, std::size_t bytes_per_sample) {
    const std::uint64_t held = file.size() - std::min(file.size(), file.position());
    if (held >= samples * bytes_per_sample) return;
    throw Refusal(fmt::format("is truncated ({} of {} bytes of samples)", held, samples * bytes_per_sample));
}

void refuse_other_netpbm(char kind) {
    if (kind == '1' || kind == '4') throw Refusal("is a black-and-white bitmap; grey images are read");
}

}  // namespace

SourceImage read_pgm(const std::filesystem::path& path, const ReadOptions& options) {
    FileBytes file(path);
    Scanner scanner(file);
    const char letter = scanner.kind();
    const char kind = scanner.kind();
    if (letter != 'P') throw Refusal("is not a valid PGM file");
    refuse_other_netpbm(kind);
    const bool is_plain = kind == '2' || kind == '3';
    const bool is_rgb = kind == '3' || kind == '6';
    const std::size_t channels = is_rgb ? kColourChannels : 1;

    const unsigned width = scanner.number("the width");
    const unsigned height = scanner.number("the height");
    const unsigned largest = scanner.number("the maximum value");
    if (largest == 0 || largest > 65535) throw Refusal(fmt::format("has a maximum value of {} (1 to 65535)", largest));
    const std::size_t bytes_per_sample = !is_plain && largest > 255 ? 2 : 1;
    refuse_truncated(file, std::uint64_t{width} * height * channels, bytes_per_sample);

    SourceImage image;
    image.format = "PGM";
    image.used_bits = static_cast<unsigned>(std::bit_width(largest));
    set_size(image, width, height, options);
    std::vector<std::uint8_t> bytes(is_plain ? 0 : width * channels * bytes_per_sample);
    std::vector<std::uint16_t> colours(is_rgb ? width * channels : 0);
    for (std::size_t y = 0; y < height; ++y) {
        const std::span grey = std::span(image.samples).subspan(y * width, width);
        const std::span row = is_rgb ? std::span(colours) : grey;
        if (is_plain) {
            read_plain_row(scanner, row);
        } else {
            read_raw_row(file, bytes, row);
        }
        if (is_rgb && !take_equal_channels(std::span<const std::uint16_t>(colours), grey)) refuse_colour();
    }
    if (is_rgb) image.encoding = kEqualChannels;
    for (const std::uint16_t sample : image.samples) {
        if (sample > largest) throw Refusal(fmt::format("holds a sample of {} above its maximum value", sample));
    }
    return image;
}

}  // namespace Norvane::Host
