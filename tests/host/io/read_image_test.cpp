// SPDX-License-Identifier: Apache-2.0
#include "io/read_image.h"

#include "export/write_png.h"
#include "host/host_support.h"

#include <png.h>
#include <tiffio.h>
#include <zlib.h>

namespace Norvane::Tests {
namespace {

using Host::encode_png;
using Host::Samples;
using ::testing::StartsWith;

std::string big_endian(std::uint32_t v) {
    return {static_cast<char>(v >> 24U), static_cast<char>(v >> 16U), static_cast<char>(v >> 8U), static_cast<char>(v)};
}

// A PNG of another kind of pixel than the program writes.
std::string png_of(unsigned format, unsigned char second = 1, unsigned width = 4, unsigned height = 3) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = format;
    image.colormap_entries = (format & PNG_FORMAT_FLAG_COLORMAP) != 0 ? 2 : 0;
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image), 1);
    pixels[1] = second;
    const std::vector<unsigned char> colours{1, 2, 3, 4, 5, 6};
    std::string bytes(1000, '\0');
    png_alloc_size_t size = bytes.size();
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, colours.data()) == 0) return {};
    return bytes.substr(0, size);
}

// The header with another size or depth, and its checksum made right again.
std::string with_header(std::string png, std::size_t at, const std::string& edit) {
    constexpr std::size_t kHeader = 12, kHeaderLength = 17;
    png.replace(at, edit.size(), edit);
    const auto sum = crc32(0, reinterpret_cast<const Bytef*>(&png[kHeader]), kHeaderLength);
    return png.replace(kHeader + kHeaderLength, 4, big_endian(static_cast<std::uint32_t>(sum)));
}

const Samples kWide{0, 1, 255, 256, 4095, 65535};
const std::vector<std::uint8_t> kNarrow{0, 1, 2, 100, 254, 255};

// A TIFF of 40 x 23 pixels a page, pixel (x, y) of page n being x * y + n, in strips of 7 rows or tiles of 16 x 16.
struct TiffLayout {
    unsigned bits = 16;
    unsigned compression = COMPRESSION_NONE;
    bool is_tiled = false;
    const char* mode = "w";  // of libtiff: byte order and size of offsets
    unsigned pages = 1;
    unsigned photometry = PHOTOMETRIC_MINISBLACK;
    unsigned components = 1;
    unsigned kind = SAMPLEFORMAT_UINT;
    bool is_colour = false;  // the last component differs from the others
};
constexpr unsigned kTiffWidth = 40, kTiffHeight = 23, kTile = 16;

std::string write_tiff(const TemporaryFolder& folder, const TiffLayout& layout) {
    const std::string file = folder.path("image.tif");
    TIFF* tiff = TIFFOpen(file.c_str(), layout.mode);
    for (unsigned page = 0; page < layout.pages; ++page) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kTiffWidth);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kTiffHeight);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, layout.bits);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, layout.components);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, layout.kind);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, layout.photometry);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, layout.compression);
        if (layout.photometry == PHOTOMETRIC_PALETTE) {
            std::vector<std::uint16_t> colours(256);
            TIFFSetField(tiff, TIFFTAG_COLORMAP, colours.data(), colours.data(), colours.data());
        }
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        if (layout.is_tiled) {
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, kTile);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, kTile);
        } else {
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 7);
        }
        // A strip or tile is a block of the image; what lies beyond the image in a tile is filled with more of the
        // same.
        const unsigned width = layout.is_tiled ? kTile : kTiffWidth;
        const unsigned height = layout.is_tiled ? kTile : 1;
        for (unsigned top = 0; top < kTiffHeight; top += height) {
            for (unsigned left = 0; left < kTiffWidth; left += width) {
                std::vector<std::uint16_t> words(1000);
                for (unsigned i = 0; i < width * height * layout.components; ++i) {
                    const unsigned pixel = i / layout.components;
                    const unsigned tint = layout.is_colour && i % layout.components == 2 ? 1 : 0;
                    words[i] = static_cast<std::uint16_t>((left + pixel % width) * (top + pixel / width) + page + tint);
                }
                std::vector<std::uint8_t> bytes(words.begin(), words.end());
                void* data = layout.bits == 8 ? static_cast<void*>(bytes.data()) : words.data();
                layout.is_tiled ? (void)TIFFWriteTile(tiff, data, left, top, 0, 0)
                                : (void)TIFFWriteScanline(tiff, data, top, 0);
            }
        }
        TIFFWriteDirectory(tiff);
    }
    TIFFClose(tiff);
    return file;
}

TEST(ReadTiff, DeliversAPage) {
    const TemporaryFolder folder;
    const TiffLayout table[] = {
        {8, COMPRESSION_LZW, false, "wl"},
        {8, COMPRESSION_PACKBITS, true, "wb"},
        {16, COMPRESSION_NONE, false, "wb8"},
        {16, COMPRESSION_NONE, true, "wl8"},
        {16, COMPRESSION_LZW, true, "wb"},
        {8, COMPRESSION_LZW, false, "wl", 1, PHOTOMETRIC_RGB, 3},
        {16, COMPRESSION_LZW, true, "wb", 1, PHOTOMETRIC_RGB, 3},
        {16, COMPRESSION_ADOBE_DEFLATE, false, "wl", 3, PHOTOMETRIC_MINISWHITE},
    };
    for (const TiffLayout& layout : table) {
        const std::string file = write_tiff(folder, layout);
        const unsigned page = layout.pages == 1 ? 0 : 1;
        const Host::SourceImage image = Host::read_image(file, {.frame = page + 1});
        ASSERT_EQ(std::size_t{kTiffWidth} * kTiffHeight, image.samples.size()) << layout.mode;
        for (unsigned i = 0; i < image.samples.size(); ++i) {
            const unsigned expected = (i % kTiffWidth) * (i / kTiffWidth) + page;
            ASSERT_EQ(layout.bits == 8 ? expected % 256 : expected, image.samples[i]) << layout.mode << layout.bits;
        }
        EXPECT_EQ(layout.bits, image.used_bits);
        EXPECT_EQ(layout.photometry == PHOTOMETRIC_MINISWHITE, image.needs_inversion);
        EXPECT_FALSE(image.pixel_size_um);
        EXPECT_EQ(layout.pages == 1 ? "" : "holds 3 frames; choose one of them with --frame N, or all with --frame all",
                  refusal_of(file));
        EXPECT_EQ(layout.pages, Host::count_frames(file));
        const std::string whole = read_bytes(file);
        EXPECT_THAT(refusal_of(folder.write("cut.tif", whole.substr(0, whole.size() / 2))),
                    StartsWith("is a damaged or truncated TIFF file"));
    }
}

TEST(ReadTiff, RefusesInOneSentence) {
    const TemporaryFolder folder;
    const auto refusal = [&](const TiffLayout& layout) { return refusal_of(write_tiff(folder, layout)); };
    EXPECT_EQ("is a colour image; grey images are read",
              refusal({.bits = 8, .photometry = PHOTOMETRIC_RGB, .components = 3, .is_colour = true}));
    EXPECT_EQ("has a palette; grey images are read", refusal({.bits = 8, .photometry = PHOTOMETRIC_PALETTE}));
    EXPECT_EQ("has transparency; plain grey images are read", refusal({.components = 2}));
    EXPECT_EQ("has 32 bits a pixel; 8 and 16 bits are read", refusal({.bits = 32}));
    EXPECT_EQ("has samples that are not unsigned integers", refusal({.kind = SAMPLEFORMAT_INT}));
}

struct Readable {
    const char* why;
    std::string bytes;
    unsigned used_bits;
    Samples samples;
};

TEST(ReadImage, DeliversSamplesAndUsedBits) {
    const TemporaryFolder folder;
    const Samples narrow(kNarrow.begin(), kNarrow.end());
    const Readable table[] = {
        {"PNG, 8 bits", encode_png(kNarrow, 3, 2), 8, narrow},
        {"PNG, 16 bits, high byte first", encode_png(kWide, 3, 2), 16, kWide},
        {"PNG, RGB, 8 bits", png_of(PNG_FORMAT_RGB), 8, Samples(12, 1)},
        {"PNG, RGB, 16 bits", png_of(PNG_FORMAT_LINEAR_RGB), 16, Samples(12, 257)},
        {"PPM, raw, 8 bits", "P6 2 1 255\naaazzz", 8, {'a', 'z'}},
        {"PPM, plain", "P3 2 1 300 1 1 1 299 299 299", 9, {1, 299}},
        {"PGM, raw, 8 bits", "P5\n3 2\n255\n" + std::string(kNarrow.begin(), kNarrow.end()), 8, narrow},
        {"PGM, raw, a sample that looks like a space", "P5 1 2 255\n\n#", 8, {'\n', '#'}},
        {"PGM, raw, 12 bits, high byte first", std::string("P5 2 1 4095\n\x0F\xFF\x00\x10", 16), 12, {4095, 16}},
        {"PGM, plain, comments anywhere", "P2#a\n# b\n2 #width\n2\n300\n#c\n1 2\n300\t0", 9, {1, 2, 300, 0}},
        {"PGM, one bit", "P2 2 1 1 0 1", 1, {0, 1}},
    };
    for (const Readable& good : table) {
        const Host::SourceImage image = Host::read_image(folder.write("image", good.bytes));
        EXPECT_EQ(good.samples, image.samples) << good.why;
        EXPECT_EQ(good.used_bits, image.used_bits) << good.why;
        EXPECT_EQ(good.samples.size(), std::size_t{image.width} * image.height) << good.why;
        EXPECT_FALSE(image.view || image.pixel_size_um || image.padding || image.needs_inversion) << good.why;
    }
}

TEST(ReadImage, RefusesInOneSentence) {
    using namespace std::string_literals;
    const TemporaryFolder folder;
    const std::string grey = encode_png(kNarrow, 3, 2);
    const struct {
        std::string bytes, message;
    } table[] = {
        {"", "is empty"},
        {"hello", "is not an image that can be read (PNG, PGM, DICOM, TIFF)"},
        {"\xFF\xD8\xFF\xE0", "is a JPEG file; these formats are read: PNG, PGM, DICOM, TIFF"},
        {"MM\0*\0\0"s, "is a damaged or truncated TIFF file: Cannot read TIFF header"},
        {png_of(PNG_FORMAT_RGB, 2), "is a colour image; grey images are read"},
        {png_of(PNG_FORMAT_GA), "has transparency; plain grey images are read"},
        {png_of(PNG_FORMAT_RGB_COLORMAP), "has a palette; grey images are read"},
        {with_header(grey, 24, "\x04"), "has 4 bits a pixel; 8 and 16 bits are read"},
        {with_header(grey, 16, big_endian(900000) + big_endian(900000)), "is too large (900000 x 900000 pixels)"},
        {std::string(grey).replace(44, 1, "x"), "is a damaged or truncated PNG file: "},
        {"P6 1 1 255\nabc", "is a colour image; grey images are read"},
        {"P3 2 1 9\n1 1 1 1 1", "is truncated (a sample is missing)"},
        {"P4 8 1\n\xFF", "is a black-and-white bitmap; grey images are read"},
        {"P7\nWIDTH 1", "is a PAM file; these formats are read: PNG, PGM, DICOM, TIFF"},
        {"P5 3", "is truncated (the height is missing)"},
        {"P5 3 # 2 255", "is truncated (the height is missing)"},
        {"P5 3 2x 255\nabc", "is not a valid PGM file (the height is invalid)"},
        {"P5 0 2 255\n", "has no pixels (0 x 2 pixels)"},
        {"P5 3 2 0\nabcdef", "has a maximum value of 0 (1 to 65535)"},
        {"P5 3 2 65536\nabcdef", "has a maximum value of 65536 (1 to 65535)"},
        {"P5 3 2 256\nabcdefghijk", "is truncated (11 of 12 bytes of samples)"},
        {"P5 99999 99999 255\nabc", "is truncated (3 of 9999800001 bytes of samples)"},
        {"P5 2 1 97\nab", "holds a sample of 98 above its maximum value"},
        {"P2 2 1 9\n1", "is truncated (1 of 2 bytes of samples)"},
        {"P2 2 1 9\n1 ", "is truncated (a sample is missing)"},
        {"P2 2 1 9\n1 10", "holds a sample of 10 above its maximum value"},
        {"P2 2 1 9\n1 99999999999", "is not a valid PGM file (a sample is invalid)"},
    };
    for (const auto& bad : table) {
        EXPECT_THAT(refusal_of(folder.write("image", bad.bytes)), StartsWith(bad.message)) << bad.bytes.substr(0, 20);
    }
    const std::string png = folder.write("image", grey);
    EXPECT_THROW((void)Host::read_image(png, {.frame = 2}), Host::Refusal);
}

}  // namespace
}  // namespace Norvane::Tests
