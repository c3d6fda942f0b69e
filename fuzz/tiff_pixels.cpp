// SPDX-License-Identifier: Apache-2.0
/// TIFF files from a recipe: a directory of the tags that the reader looks at, right but for what the input changes,
/// and strips or tiles that hold the rest of the input.
#include "input.h"

#include "reading/read_tiff.h"
#include "reading/refusal.h"

#include <tiffio.h>

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

std::string tiff_of(Input& input) {
    constexpr std::array<std::uint32_t, 8> kCompressions{1, 1, 5, 8, 32773, 32946, 7, 34712};
    constexpr std::array<std::uint32_t, 4> kBits{8, 16, 16, 12};
    constexpr std::uint32_t kTypeLong = 4, kPixelsAt = 1024;
    const std::uint32_t width = 1 + input.below(300), height = 1 + input.below(300), bits = input.one_of(kBits);
    const bool is_tiled = input.flag();
    const std::uint32_t tile = 16 * (1 + input.below(4)), rows = 1 + input.below(300);
    const std::uint32_t held = static_cast<std::uint32_t>(input.rest().size());
    std::vector<Tag> tags{{TIFFTAG_IMAGEWIDTH, width},
                          {TIFFTAG_IMAGELENGTH, height},
                          {TIFFTAG_BITSPERSAMPLE, bits},
                          {TIFFTAG_COMPRESSION, input.one_of(kCompressions)},
                          {TIFFTAG_PHOTOMETRIC, input.below(5) / 2},
                          {TIFFTAG_STRIPOFFSETS, kPixelsAt},
                          {TIFFTAG_SAMPLESPERPIXEL, 1},
                          {TIFFTAG_ROWSPERSTRIP, rows},
                          {TIFFTAG_STRIPBYTECOUNTS, held},
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
    const std::uint32_t parts = input.below(3) == 2 ? 1 + input.below(20) : 1;  // how many offsets and counts there are
    std::string file("II*\0\x08\0\0\0", 8);
    put(file, static_cast<std::uint32_t>(tags.size()), 2);
    for (const Tag& tag : tags) {
        const bool is_list = tag.number == TIFFTAG_STRIPOFFSETS || tag.number == TIFFTAG_STRIPBYTECOUNTS ||
                             tag.number == TIFFTAG_TILEOFFSETS || tag.number == TIFFTAG_TILEBYTECOUNTS;
        put(file, tag.number, 2);
        put(file, kTypeLong, 2);
        put(file, is_list ? parts : 1, 4);
        put(file, is_list && parts > 1 ? 600 : tag.value, 4);
    }
    put(file, input.below(16) == 15 ? 8 : 0, 4);  // the next directory: none, or this one again
    file.resize(kPixelsAt, '\1');
    file.append(input.rest().begin(), input.rest().end());
    return file;
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
