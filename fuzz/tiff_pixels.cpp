// SPDX-License-Identifier: Apache-2.0
/// Fuzzes TIFF files that follow a recipe: a directory of the tags that the reader uses, correct except for what the
/// input changes, and strips or tiles that hold the rest of the input.
#include "input.h"

#include "io/read_tiff.h"
#include "io/refusal.h"

#include <tiffio.h>
#include <zlib.h>

#include <vector>

namespace Norvane::Fuzz {
namespace {

struct Tag {
    std::uint16_t number;
    std::uint32_t value;
};

void put(std::string& bytes, std::uint32_t value, unsigned count) {
    for (unsigned i = 0; i < count; ++i) bytes += static_cast<char>(value >> 8 * i);
}

/// Deflates the bytes if the compression says so. Then the input damages the samples and not the stream.
std::string packed(const std::vector<Tag>& tags, std::span<const std::uint8_t> bytes) {
    const auto compression = std::ranges::find(tags, std::uint16_t{TIFFTAG_COMPRESSION}, &Tag::number);
    const std::string plain(bytes.begin(), bytes.end());
    const bool is_deflate = compression != tags.end() && (compression->value == 8 || compression->value == 32946);
    if (!is_deflate) return plain;
    uLongf size = compressBound(static_cast<uLong>(plain.size()));
    std::string deflated(size, '\0');
    require(compress(reinterpret_cast<Bytef*>(deflated.data()), &size, reinterpret_cast<const Bytef*>(plain.data()),
                     static_cast<uLong>(plain.size())) == Z_OK,
            "the samples can be deflated");
    deflated.resize(size);
    return deflated;
}

std::string tiff_of(Input& input) {
    constexpr std::array<std::uint32_t, 8> kCompressions{1, 1, 5, 8, 32773, 32946, 7, 34712};
    constexpr std::array<std::uint32_t, 4> kBits{8, 16, 16, 12};
    constexpr std::uint32_t kTypeLong = 4, kOffsetsAt = 600, kCountsAt = 700, kPixelsAt = 1024;
    const std::uint32_t width = 1 + input.below(300), height = 1 + input.below(300), bits = input.one_of(kBits);
    const bool is_tiled = input.flag();
    const std::uint32_t tile = 16 * (1 + input.below(4)), rows = 1 + input.below(300);
    std::vector<Tag> tags{{TIFFTAG_IMAGEWIDTH, width},
                          {TIFFTAG_IMAGELENGTH, height},
                          {TIFFTAG_BITSPERSAMPLE, bits},
                          {TIFFTAG_COMPRESSION, input.one_of(kCompressions)},
                          {TIFFTAG_PHOTOMETRIC, input.below(5) / 2},
                          {TIFFTAG_STRIPOFFSETS, kPixelsAt},
                          {TIFFTAG_SAMPLESPERPIXEL, 1},
                          {TIFFTAG_ROWSPERSTRIP, rows},
                          {TIFFTAG_STRIPBYTECOUNTS, 0},
                          {TIFFTAG_PREDICTOR, 1 + input.below(2)}};
    if (is_tiled) {
        tags[5].number = TIFFTAG_TILEOFFSETS;
        tags[7] = {TIFFTAG_TILEWIDTH, tile};
        tags[8].number = TIFFTAG_TILEBYTECOUNTS;
        tags.push_back({TIFFTAG_TILELENGTH, tile});
    }
    for (unsigned changes = input.below(4); changes > 0; --changes) {
        const unsigned which = input.below(static_cast<unsigned>(tags.size()));
        tags[which].value = input.flag() ? input.number() : input.byte();
    }
    std::ranges::sort(tags, {}, &Tag::number);
    const std::uint32_t parts = 1 + input.below(20);  // how many offsets and counts there are
    const bool has_next = input.below(16) == 15;      // the next directory is this one again
    const std::string data = packed(tags, input.rest());
    const auto part_bytes = static_cast<std::uint32_t>(data.size()) / parts;
    std::string file("II*\0\x08\0\0\0", 8);
    put(file, static_cast<std::uint32_t>(tags.size()), 2);
    for (const Tag& tag : tags) {
        const bool is_offsets = tag.number == TIFFTAG_STRIPOFFSETS || tag.number == TIFFTAG_TILEOFFSETS;
        const bool is_counts = tag.number == TIFFTAG_STRIPBYTECOUNTS || tag.number == TIFFTAG_TILEBYTECOUNTS;
        const std::uint32_t alone = is_offsets ? kPixelsAt : is_counts ? part_bytes : tag.value;
        put(file, tag.number, 2);
        put(file, kTypeLong, 2);
        put(file, is_offsets || is_counts ? parts : 1, 4);
        put(file, parts == 1 || (!is_offsets && !is_counts) ? alone : is_offsets ? kOffsetsAt : kCountsAt, 4);
    }
    put(file, has_next ? 8 : 0, 4);
    file.resize(kOffsetsAt);
    for (std::uint32_t i = 0; i < parts; ++i) put(file, kPixelsAt + i * part_bytes, 4);
    file.resize(kCountsAt);
    for (std::uint32_t i = 0; i < parts; ++i) put(file, part_bytes, 4);
    file.resize(kPixelsAt);
    return file + data;
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    Fuzz::Input input(data, size);
    const std::string bytes = Fuzz::tiff_of(input);
    const std::string file = Fuzz::file_of(bytes);
    try {
        const Host::SourceImage image = Host::read_tiff(file, {.frame = 1U, .is_pixel_size_given = true});
        Fuzz::require(image.samples.size() == std::size_t{image.width} * image.height, "a sample per pixel");
    } catch (const Host::Refusal&) {
    }
    return 0;
}
