// SPDX-License-Identifier: Apache-2.0
/// Fuzzes PNG files whose checksums and compression are correct, so that faults inside them reach the reader. The input
/// gives the header, some chunks and the filtered rows. Rows of plain grey files are also unfiltered here, for
/// comparison.
#include "input.h"

#include "io/read_png.h"
#include "io/refusal.h"

#include <zlib.h>

#include <cstdlib>

namespace Norvane::Fuzz {
namespace {

void put_number(std::string& bytes, std::uint32_t value) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) bytes += static_cast<char>(value >> shift);
}

void put_chunk(std::string& file, const std::string& kind, const std::string& data) {
    put_number(file, static_cast<std::uint32_t>(data.size()));
    const std::string checked = kind + data;
    file += checked;
    put_number(file, static_cast<std::uint32_t>(
                         crc32(0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<uInt>(checked.size()))));
}

std::string deflated(const std::string& bytes, int level) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::string packed(size, '\0');
    require(compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
                      static_cast<uLong>(bytes.size()), level) == Z_OK,
            "the rows can be deflated");
    packed.resize(size);
    return packed;
}

struct Recipe {
    unsigned width, height;
    std::uint8_t bits, colour;
    bool is_interlaced, is_damaged;
    std::string rows;  // a filter and bytes, row by row

    [[nodiscard]] std::size_t sample_bytes() const { return bits == 16 ? 2 : 1; }
    /// Whether it is a grey image that the reader must accept.
    [[nodiscard]] bool is_plain() const { return (bits == 8 || bits == 16) && colour == 0 && !is_interlaced; }
};

std::uint8_t predicted(std::uint8_t filter, int left, int above, int corner) {
    const int estimate = left + above - corner;
    const int by_left = std::abs(estimate - left), by_above = std::abs(estimate - above),
              by_corner = std::abs(estimate - corner);
    const int paeth = by_left <= by_above && by_left <= by_corner ? left : by_above <= by_corner ? above : corner;
    const std::array<int, 5> values{0, left, above, (left + above) / 2, paeth};
    return static_cast<std::uint8_t>(values[filter]);
}

/// The bytes of the samples, as the format defines them.
std::string unfiltered(const Recipe& recipe) {
    const std::size_t step = recipe.sample_bytes(), row_bytes = recipe.width * step;
    std::string bytes;
    for (std::size_t y = 0; y < recipe.height; ++y) {
        const auto filter = static_cast<std::uint8_t>(recipe.rows[y * (row_bytes + 1)]);
        for (std::size_t x = 0; x < row_bytes; ++x) {
            const auto at = [&](std::size_t back_x, std::size_t back_y) -> int {
                if (x < back_x || y < back_y) return 0;
                return static_cast<std::uint8_t>(bytes[(y - back_y) * row_bytes + x - back_x]);
            };
            const auto raw = static_cast<std::uint8_t>(recipe.rows[y * (row_bytes + 1) + 1 + x]);
            bytes += static_cast<char>(raw + predicted(filter, at(step, 0), at(0, 1), at(step, 1)));
        }
    }
    return bytes;
}

std::string png_of(Input& input, Recipe& recipe) {
    constexpr std::array<std::uint8_t, 8> kBits{8, 16, 8, 16, 8, 16, 4, 1};
    constexpr std::array<std::uint8_t, 8> kColours{0, 0, 0, 0, 0, 2, 3, 4};
    recipe.width = 1 + input.below(40);
    recipe.height = 1 + input.below(40);
    recipe.bits = input.one_of(kBits);
    recipe.colour = input.one_of(kColours);
    recipe.is_interlaced = input.below(4) == 3;
    std::string file("\x89PNG\r\n\x1a\n", 8), header;
    put_number(header, recipe.width);
    put_number(header, recipe.height);
    header +=
        {static_cast<char>(recipe.bits), static_cast<char>(recipe.colour), 0, 0, recipe.is_interlaced ? '\1' : '\0'};
    put_chunk(file, "IHDR", header);
    const unsigned extra = input.below(4);
    for (unsigned i = 0; i < extra; ++i) {
        const std::array<const char*, 8> kinds{"tEXt", "zTXt", "iCCP", "gAMA", "sBIT", "tRNS", "abCd", "PLTE"};
        const std::string kind = input.one_of(kinds);
        recipe.is_damaged |= kind == "tRNS" || kind == "PLTE";
        put_chunk(file, kind, std::string(input.below(32), static_cast<char>(input.byte())));
    }
    const int level = static_cast<int>(input.below(3)) * 3;
    const unsigned damage = input.below(8), place = input.word();
    const std::size_t row_bytes = recipe.width * recipe.sample_bytes() + 1;
    recipe.rows.assign(input.rest().begin(), input.rest().end());
    recipe.rows.resize(row_bytes * recipe.height);
    for (std::size_t y = 0; y < recipe.height; ++y)
        recipe.rows[y * row_bytes] = static_cast<char>(static_cast<std::uint8_t>(recipe.rows[y * row_bytes]) % 5);
    std::string rows = recipe.rows, end;
    if (damage == 1) rows.resize(rows.size() * (place % 16) / 16);
    if (damage == 2) rows[place % rows.size()] = 9;
    std::string packed = deflated(rows, level);
    if (damage == 3) packed[place % packed.size()] ^= 0x10;
    recipe.is_damaged |= damage >= 1 && damage <= 4;
    put_chunk(file, "IDAT", packed.substr(0, packed.size() / 2));
    put_chunk(file, damage == 4 ? "IEND" : "IDAT", packed.substr(packed.size() / 2));
    put_chunk(file, "IEND", "");
    return file;
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    Fuzz::Input input(data, size);
    Fuzz::Recipe recipe{};
    const std::string bytes = Fuzz::png_of(input, recipe);
    const std::string file = Fuzz::file_of(bytes);
    try {
        const Host::SourceImage image = Host::read_png(file);
        Fuzz::require(image.width == recipe.width && image.height == recipe.height, "the size is the header's");
        if (!recipe.is_plain() || recipe.is_damaged) return 0;
        const std::string expected = Fuzz::unfiltered(recipe);
        for (std::size_t i = 0; i < image.samples.size(); ++i) {
            const auto byte = [&](std::size_t k) { return static_cast<std::uint8_t>(expected[k]); };
            const unsigned sample = recipe.bits == 8 ? byte(i) : byte(2 * i) * 256U + byte(2 * i + 1);
            Fuzz::require(image.samples[i] == sample, "samples are those of the filtered rows");
        }
    } catch (const Host::Refusal&) {
        Fuzz::require(!recipe.is_plain() || recipe.is_damaged, "a whole grey file is read");
    }
    return 0;
}
