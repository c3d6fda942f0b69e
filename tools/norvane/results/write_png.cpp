// SPDX-License-Identifier: Apache-2.0
#include "results/write_png.h"

#include <png.h>

#include <array>
#include <csetjmp>
#include <cstring>
#include <new>
#include <stdexcept>
#include <vector>

namespace Norvane::Host {
namespace {

/// As for reading: libpng leaves by longjmp, so what owns memory lives in this object or in its caller.
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

    /// `rows`: one pointer a row; 16-bit samples with the high byte first.
    bool write(png_bytep* rows, unsigned width, unsigned height, int bits) {
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        png_set_write_fn(png, this, on_bytes, nullptr);
        png_set_IHDR(png, info, width, height, bits, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        png_write_image(png, rows);
        png_write_end(png, nullptr);
        return true;
    }

    std::string bytes;
    std::array<char, 160> message{};

private:
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

std::string encode(std::vector<png_byte>& bytes, unsigned width, unsigned height, int bits) {
    std::vector<png_bytep> rows(height);
    const std::size_t row_bytes = std::size_t{width} * static_cast<std::size_t>(bits) / 8;
    for (std::size_t y = 0; y < height; ++y) rows[y] = &bytes[y * row_bytes];
    PngEncoder encoder;
    if (!encoder.write(rows.data(), width, height, bits)) throw std::runtime_error(encoder.message.data());
    return std::move(encoder.bytes);
}

}  // namespace

std::string encode_png(std::span<const std::uint8_t> pixels, unsigned width, unsigned height) {
    std::vector<png_byte> bytes(pixels.begin(), pixels.end());
    return encode(bytes, width, height, 8);
}

std::string encode_png(std::span<const std::uint16_t> pixels, unsigned width, unsigned height) {
    std::vector<png_byte> bytes;
    bytes.reserve(2 * pixels.size());
    for (const std::uint16_t v : pixels) {
        bytes.push_back(static_cast<png_byte>(v >> 8));
        bytes.push_back(static_cast<png_byte>(v & 0xFF));
    }
    return encode(bytes, width, height, 16);
}

}  // namespace Norvane::Host
