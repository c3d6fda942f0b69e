// SPDX-License-Identifier: Apache-2.0
#include "export/write_png.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstring>
#include <new>
#include <stdexcept>
#include <vector>

namespace Norvane::Host {
namespace {

struct PngLayout {
    unsigned width;
    unsigned height;
    int bits;
    PngContent content;
    int channels = 1;
};

/// Fills a row of the file. In 16-bit samples, the high byte comes first.
using ByteRows = std::function<void(unsigned y, png_bytep row)>;

/// If libpng fails, it leaves by longjmp without running destructors. So everything that owns memory lives in this
/// object or in its caller.
class PngEncoder {
public:
    PngEncoder() {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, on_error, on_warning);
        if (png != nullptr) info = png_create_info_struct(png);
        if (info == nullptr) throw std::bad_alloc();
    }
    ~PngEncoder() { png_destroy_write_struct(&png, &info); }
    PngEncoder(const PngEncoder&) = delete;
    PngEncoder& operator=(const PngEncoder&) = delete;

    bool write(const PngLayout& layout, const ByteRows& fill, png_bytep row) {
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        png_set_write_fn(png, this, on_bytes, nullptr);
        png_set_IHDR(png, info, layout.width, layout.height, layout.bits,
                     layout.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        set_compression(layout);
        png_write_info(png, info);
        for (unsigned y = 0; y < layout.height; ++y) {
            fill(y, row);
            png_write_row(png, row);
        }
        png_write_end(png, nullptr);
        return true;
    }

    std::string bytes;
    std::array<char, 160> message{};

private:
    void set_compression(const PngLayout& layout) {
        constexpr int kFast = 1;
        constexpr int kThorough = 9;  // for runs, the highest level is as fast as the others
        const bool is_regions = layout.content == PngContent::kRegions;
        if (!is_regions && layout.bits == 8 && layout.channels == 1) return;  // small pictures: libpng's defaults
        png_set_compression_level(png, is_regions ? kThorough : kFast);
        png_set_compression_strategy(png, is_regions ? Z_RLE : Z_DEFAULT_STRATEGY);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, is_regions ? PNG_FILTER_NONE : PNG_FILTER_UP);
    }
    static void on_error(png_structp png, png_const_charp text) {
        auto* self = static_cast<PngEncoder*>(png_get_error_ptr(png));
        std::strncpy(self->message.data(), text, self->message.size() - 1);
        png_longjmp(png, 1);
    }
    static void on_warning(png_structp, png_const_charp) {}
    static bool append(std::string& bytes, png_bytep data, std::size_t count) noexcept {
        try {
            bytes.append(reinterpret_cast<const char*>(data), count);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    static void on_bytes(png_structp png, png_bytep data, std::size_t count) {
        if (!append(static_cast<PngEncoder*>(png_get_io_ptr(png))->bytes, data, count)) png_error(png, "out of memory");
    }

    png_structp png = nullptr;
    png_infop info = nullptr;
};

std::string encode(const PngLayout& layout, const ByteRows& fill) {
    std::vector<png_byte> row(std::size_t{layout.width} * static_cast<std::size_t>(layout.bits * layout.channels) / 8);
    PngEncoder encoder;
    if (!encoder.write(layout, fill, row.data())) throw std::runtime_error(encoder.message.data());
    return std::move(encoder.bytes);
}

template <class Sample>
RowSource<Sample> rows_of_pixels(std::span<const Sample> pixels, unsigned width) {
    return [pixels, width](unsigned y, std::span<Sample> row) {
        std::ranges::copy(pixels.subspan(std::size_t{y} * width, width), row.begin());
    };
}

}  // namespace

std::string encode_png(unsigned width, unsigned height, PngContent content, const RowSource<std::uint8_t>& source) {
    return encode({width, height, 8, content}, [&](unsigned y, png_bytep row) { source(y, {row, width}); });
}

std::string encode_png(unsigned width, unsigned height, PngContent content, const RowSource<std::uint16_t>& source) {
    std::vector<std::uint16_t> samples(width);
    return encode({width, height, 16, content}, [&](unsigned y, png_bytep row) {
        source(y, samples);
        for (const std::uint16_t v : samples) {
            *row++ = static_cast<png_byte>(v >> 8);
            *row++ = static_cast<png_byte>(v & 0xFF);
        }
    });
}

std::string encode_png(unsigned width, unsigned height, const RowSource<RgbPixel>& source) {
    std::vector<RgbPixel> pixels(width);
    return encode({width, height, 8, PngContent::kPicture, 3}, [&](unsigned y, png_bytep row) {
        source(y, pixels);
        for (const RgbPixel& pixel : pixels) {
            for (const std::uint8_t channel : {pixel.red, pixel.green, pixel.blue}) *row++ = channel;
        }
    });
}

std::string encode_png(std::span<const std::uint8_t> pixels, unsigned width, unsigned height, PngContent content) {
    return encode_png(width, height, content, rows_of_pixels(pixels, width));
}

std::string encode_png(std::span<const std::uint16_t> pixels, unsigned width, unsigned height) {
    return encode_png(width, height, PngContent::kPicture, rows_of_pixels(pixels, width));
}

}  // namespace Norvane::Host
