// SPDX-License-Identifier: Apache-2.0
#include "reading/read_tiff.h"

#include "reading/refusal.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
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

/// An open file with the first complaint of the library, which is told to print nothing.
class TiffFile {
public:
    explicit TiffFile(const std::filesystem::path& file) {
        const std::unique_ptr<TIFFOpenOptions, FreeOptions> options(TIFFOpenOptionsAlloc());
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keep_message, &message);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), keep_silent, nullptr);
        // Not mapped into memory: a mapped file that another program shortens takes this one down.
        tiff.reset(TIFFOpenExt(file.c_str(), "rm", options.get()));
        if (!tiff) refuse();
    }

    [[noreturn]] void refuse() const {
        throw Refusal("is a damaged or truncated TIFF file" + (message.empty() ? message : ": " + message));
    }

    /// A damaged chain of pages counts as one that ends there, unless the complaint is heard.
    [[nodiscard]] unsigned page_count() const {
        const unsigned count = TIFFNumberOfDirectories(tiff.get());
        if (!message.empty()) refuse();
        return count;
    }

    [[nodiscard]] TIFF* get() const { return tiff.get(); }

    /// The value of a tag, or what the format says for a missing one.
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
    if (!is_grey || samples != 1) throw Refusal("is a colour image; grey images are read");
    const auto kind = file.tag<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
    if (kind != SAMPLEFORMAT_UINT && kind != SAMPLEFORMAT_VOID) {
        throw Refusal("has samples that are not unsigned whole numbers");
    }
    if (bits != 8 && bits != 16) {
        throw Refusal("has " + std::to_string(bits) + " bits a pixel; 8 and 16 bits are read");
    }
}

/// Copies a run of samples as the library delivers them: bytes, or words of this machine.
void put_samples(const std::uint8_t* bytes, unsigned bits, unsigned count, std::uint16_t* samples) {
    if (bits == 8) {
        std::copy_n(bytes, count, samples);
    } else {
        std::memcpy(samples, bytes, std::size_t{count} * sizeof *samples);
    }
}

void read_strips(const TiffFile& file, unsigned bits, SourceImage& image) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(file.get())));
    if (row.size() < std::size_t{image.width} * (bits / 8)) file.refuse();
    for (unsigned y = 0; y < image.height; ++y) {
        if (TIFFReadScanline(file.get(), row.data(), y, 0) < 0) file.refuse();
        put_samples(row.data(), bits, image.width, &image.samples[std::size_t{y} * image.width]);
    }
}

void read_tiles(const TiffFile& file, unsigned bits, SourceImage& image) {
    const auto tile_width = file.tag<std::uint32_t>(TIFFTAG_TILEWIDTH);
    const auto tile_height = file.tag<std::uint32_t>(TIFFTAG_TILELENGTH);
    constexpr unsigned kLargestTile = 1U << 14;
    if (tile_width == 0 || tile_height == 0 || tile_width > kLargestTile || tile_height > kLargestTile) file.refuse();
    const std::size_t row_bytes = std::size_t{tile_width} * (bits / 8);
    std::vector<std::uint8_t> tile(row_bytes * tile_height);
    if (static_cast<std::size_t>(TIFFTileSize(file.get())) != tile.size()) file.refuse();
    for (unsigned top = 0; top < image.height; top += tile_height) {
        for (unsigned left = 0; left < image.width; left += tile_width) {
            if (TIFFReadTile(file.get(), tile.data(), left, top, 0, 0) < 0) file.refuse();
            const unsigned rows = std::min(tile_height, image.height - top);
            const unsigned columns = std::min(tile_width, image.width - left);
            for (unsigned y = 0; y < rows; ++y) {
                const std::size_t start = (std::size_t{top} + y) * image.width + left;
                put_samples(&tile[y * row_bytes], bits, columns, &image.samples[start]);
            }
        }
    }
}

}  // namespace

SourceImage read_tiff(const std::filesystem::path& file, const ReadOptions& options) {
    const TiffFile tiff(file);
    SourceImage image;
    image.format = "TIFF";
    set_frame(image, tiff.page_count(), options);
    if (TIFFSetDirectory(tiff.get(), static_cast<tdir_t>(image.frame - 1)) == 0) tiff.refuse();
    const unsigned bits = tiff.tag<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
    refuse_unless_grey(tiff, bits);
    image.used_bits = bits;
    image.needs_inversion = tiff.tag<std::uint16_t>(TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_MINISWHITE;
    if (const auto orientation = tiff.tag<std::uint16_t>(TIFFTAG_ORIENTATION); orientation > ORIENTATION_TOPLEFT) {
        image.warnings.push_back("the Orientation " + std::to_string(orientation) +
                                 " of the file is not applied: masks are those of the image as it is stored");
    }
    set_size(image, tiff.tag<std::uint32_t>(TIFFTAG_IMAGEWIDTH), tiff.tag<std::uint32_t>(TIFFTAG_IMAGELENGTH));
    if (TIFFIsTiled(tiff.get()) != 0) {
        read_tiles(tiff, bits, image);
    } else {
        read_strips(tiff, bits, image);
    }
    return image;
}

}  // namespace Norvane::Host
