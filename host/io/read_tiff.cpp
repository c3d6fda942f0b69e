// SPDX-License-Identifier: Apache-2.0
#include "io/read_tiff.h"

#include "io/colour_channels.h"
#include "io/refusal.h"

#include <fmt/format.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Norvane::Host {
namespace {

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

/// An open file and libtiff's first error message. libtiff prints nothing itself.
class TiffFile {
public:
    TiffFile(const std::filesystem::path& file, const ReadOptions& read_options) {
        const std::unique_ptr<TIFFOpenOptions, FreeOptions> options(TIFFOpenOptionsAlloc());
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keep_message, &message);
        // Four such blocks may be in memory at a time: two tables of strips, and two copies of a strip or tile.
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(read_options.image_memory / 4));
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), keep_silent, nullptr);
        // "m": not mapped into memory. If another program shortened a mapped file, this program would crash.
        tiff.reset(TIFFOpenExt(file.c_str(), "rm", options.get()));
        if (!tiff) refuse();
    }

    [[noreturn]] void refuse() const {
        throw Refusal("is a damaged or truncated TIFF file" + (message.empty() ? message : ": " + message));
    }

    /// libtiff takes a damaged chain of pages for one that ends there. Only its message tells, so it is checked.
    [[nodiscard]] unsigned page_count() const {
        const unsigned count = TIFFNumberOfDirectories(tiff.get());
        if (!message.empty()) refuse();
        return count;
    }

    [[nodiscard]] TIFF* get() const { return tiff.get(); }

    /// The value of a tag, or TIFF's default if the tag is missing.
    template <class Value>
    [[nodiscard]] Value tag(ttag_t name) const {
        Value value{};
        TIFFGetFieldDefaulted(tiff.get(), name, &value);
        return value;
    }

private:
    static int keep_message(TIFF*, void* user, const char*, const char* format, va_list values) {
        char text[160];
        (void)std::vsnprintf(text, sizeof text, format, values);
        std::string& kept = *static_cast<std::string*>(user);
        if (kept.empty()) kept.assign(text, std::strcspn(text, "\r\n"));
        return 1;
    }
    static int keep_silent(TIFF*, void*, const char*, const char*, va_list) { return 1; }

    std::string message;
    std::unique_ptr<TIFF, CloseTiff> tiff;
};

void refuse_unless_grey(const TiffFile& file, unsigned bits) {
    const auto photometry = file.tag<std::uint16_t>(TIFFTAG_PHOTOMETRIC);
    if (photometry == PHOTOMETRIC_PALETTE) throw Refusal("has a palette; grey images are read");
    const bool is_grey = photometry == PHOTOMETRIC_MINISBLACK || photometry == PHOTOMETRIC_MINISWHITE;
    const auto samples = file.tag<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
    if (is_grey && samples == 2) throw Refusal("has transparency; plain grey images are read");
    const bool is_rgb = photometry == PHOTOMETRIC_RGB && samples == kColourChannels &&
                        file.tag<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_CONTIG;
    if (!is_rgb && (!is_grey || samples != 1)) refuse_colour();
    const auto kind = file.tag<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
    if (kind != SAMPLEFORMAT_UINT && kind != SAMPLEFORMAT_VOID) {
        throw Refusal("has samples that are not unsigned integers");
    }
    if (bits != 8 && bits != 16) {
        throw Refusal(fmt::format("has {} bits a pixel; 8 and 16 bits are read", bits));
    }
}

/// How libtiff delivers a pixel: its samples are bytes, or words of this machine.
struct PixelLayout {
    unsigned bits;
    std::size_t channels;

    [[nodiscard]] std::size_t bytes() const { return bits / 8 * channels; }
};

template <class Sample>
void put_samples(std::span<const Sample> row, std::span<std::uint16_t> samples) {
    if (row.size() == samples.size()) {
        std::ranges::copy(row, samples.begin());
    } else if (!take_equal_channels(row, samples)) {
        refuse_colour();
    }
}

void put_pixels(std::span<const std::uint8_t> bytes, unsigned bits, std::span<std::uint16_t> samples) {
    if (bits == 8) return put_samples(bytes, samples);
    put_samples(std::span(reinterpret_cast<const std::uint16_t*>(bytes.data()), bytes.size() / 2), samples);
}

/// What libtiff reads at a time: a row of a strip, or a tile.
struct Block {
    unsigned width, height;
    std::size_t bytes;
};

Block block_of(const TiffFile& file, const PixelLayout& pixel, unsigned width) {
    if (TIFFIsTiled(file.get()) == 0) {
        const auto row_bytes = static_cast<std::size_t>(TIFFScanlineSize(file.get()));
        if (row_bytes < width * pixel.bytes()) file.refuse();
        return {width, 1, row_bytes};
    }
    const auto tile_width = file.tag<std::uint32_t>(TIFFTAG_TILEWIDTH);
    const auto tile_height = file.tag<std::uint32_t>(TIFFTAG_TILELENGTH);
    constexpr unsigned kLargestTile = 1U << 14;
    if (tile_width == 0 || tile_height == 0 || tile_width > kLargestTile || tile_height > kLargestTile) file.refuse();
    const std::size_t bytes = std::size_t{tile_width} * tile_height * pixel.bytes();
    if (static_cast<std::size_t>(TIFFTileSize(file.get())) != bytes) file.refuse();
    return {tile_width, tile_height, bytes};
}

// Strips and tiles may share their bytes. If a million tiles point to the same megabyte, it would be read a million
// times. Valid files hold the compressed image once, or share the blocks of an empty background, which are short.
void refuse_shared_bytes(const TiffFile& file, std::uint64_t image_bytes) {
    const std::uint64_t file_bytes = TIFFGetSizeProc(file.get())(TIFFClientdata(file.get()));
    const bool is_tiled = TIFFIsTiled(file.get()) != 0;
    const std::uint32_t blocks = is_tiled ? TIFFNumberOfTiles(file.get()) : TIFFNumberOfStrips(file.get());
    std::uint64_t bytes = 0;
    for (std::uint32_t i = 0; i < blocks; ++i) bytes += std::min(TIFFGetStrileByteCount(file.get(), i), file_bytes);
    if (bytes > file_bytes + 2 * image_bytes) throw Refusal("has strips or tiles that share their bytes too often");
}

void read_block(const TiffFile& file, std::vector<std::uint8_t>& bytes, unsigned left, unsigned top) {
    const bool is_tile = TIFFIsTiled(file.get()) != 0;
    const auto answer = is_tile ? TIFFReadTile(file.get(), bytes.data(), left, top, 0, 0)
                                : TIFFReadScanline(file.get(), bytes.data(), top, 0);
    if (answer < 0) file.refuse();
}

void read_blocks(const TiffFile& file, const PixelLayout& pixel, const Block& block, SourceImage& image) {
    std::vector<std::uint8_t> bytes(block.bytes);
    for (unsigned top = 0; top < image.height; top += block.height) {
        for (unsigned left = 0; left < image.width; left += block.width) {
            read_block(file, bytes, left, top);
            const unsigned rows = std::min(block.height, image.height - top);
            const unsigned columns = std::min(block.width, image.width - left);
            for (unsigned y = 0; y < rows; ++y) {
                const std::size_t start = (std::size_t{top} + y) * image.width + left;
                const std::size_t row = std::size_t{y} * block.width * pixel.bytes();
                put_pixels(std::span(bytes).subspan(row, columns * pixel.bytes()), pixel.bits,
                           std::span(image.samples).subspan(start, columns));
            }
        }
    }
}

}  // namespace

unsigned count_tiff_pages(const std::filesystem::path& file, const ReadOptions& options) {
    return TiffFile(file, options).page_count();
}

SourceImage read_tiff(const std::filesystem::path& file, const ReadOptions& options) {
    const TiffFile tiff(file, options);
    SourceImage image;
    image.format = "TIFF";
    set_frame(image, tiff.page_count(), options);
    if (TIFFSetDirectory(tiff.get(), static_cast<tdir_t>(image.frame - 1)) == 0) tiff.refuse();
    const unsigned bits = tiff.tag<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
    refuse_unless_grey(tiff, bits);
    image.used_bits = bits;
    image.needs_inversion = tiff.tag<std::uint16_t>(TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_MINISWHITE;
    if (const auto orientation = tiff.tag<std::uint16_t>(TIFFTAG_ORIENTATION); orientation > ORIENTATION_TOPLEFT) {
        image.warnings.push_back(fmt::format(
            "the file's Orientation {} is not applied: the masks are made for the image as it is stored", orientation));
    }
    const auto width = tiff.tag<std::uint32_t>(TIFFTAG_IMAGEWIDTH);
    const bool is_rgb = tiff.tag<std::uint16_t>(TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_RGB;
    if (is_rgb) image.encoding = kEqualChannels;
    const PixelLayout pixel{bits, is_rgb ? kColourChannels : 1};
    const Block block = block_of(tiff, pixel, width);
    // libtiff keeps a block in memory twice: as it lies in the file, and decoded.
    set_size(image, width, tiff.tag<std::uint32_t>(TIFFTAG_IMAGELENGTH), options, 2 * std::uint64_t{block.bytes});
    refuse_shared_bytes(tiff, std::uint64_t{image.samples.size()} * pixel.bytes());
    read_blocks(tiff, pixel, block, image);
    return image;
}

}  // namespace Norvane::Host
