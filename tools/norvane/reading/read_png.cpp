// SPDX-License-Identifier: Apache-2.0
#include "reading/read_png.h"

#include "reading/refusal.h"

#include <png.h>

#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace Norvane::Host {
namespace {

struct CloseFile {
    void operator()(std::FILE* f) const { (void)std::fclose(f); }
};

/// libpng leaves its functions by longjmp, which runs no destructor. So everything that owns memory lives in this
/// object or in the callers of its two steps, and the steps themselves have plain locals only.
class PngDecoder {
public:
    explicit PngDecoder(const std::filesystem::path& file) : stream(std::fopen(file.c_str(), "rb")) {
        if (!stream) throw Refusal("cannot be opened");
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, on_error, on_warning);
        if (png != nullptr) info = png_create_info_struct(png);
        if (info == nullptr) throw std::bad_alloc();
    }
    ~PngDecoder() { png_destroy_read_struct(&png, &info, nullptr); }
    PngDecoder(const PngDecoder&) = delete;
    PngDecoder& operator=(const PngDecoder&) = delete;

    bool read_header() {
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        png_init_io(png, stream.get());
        png_read_info(png, info);
        width = png_get_image_width(png, info);
        height = png_get_image_height(png, info);
        bits = png_get_bit_depth(png, info);
        colour_type = png_get_color_type(png, info);
        is_transparent = (colour_type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
        return true;
    }

    /// `rows`: one pointer a row, with room for width samples of the file's depth.
    bool read_rows(png_bytep* rows) {
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        png_read_image(png, rows);
        png_read_end(png, nullptr);
        return true;
    }

    [[nodiscard]] const char* what() const { return message.data(); }

    png_uint_32 width = 0;
    png_uint_32 height = 0;
    unsigned bits = 0;
    int colour_type = 0;
    bool is_transparent = false;

private:
    static void on_error(png_structp png, png_const_charp text) {
        auto* self = static_cast<PngDecoder*>(png_get_error_ptr(png));
        std::strncpy(self->message.data(), text, self->message.size() - 1);
        png_longjmp(png, 1);
    }
    static void on_warning(png_structp, png_const_charp) {}

    std::unique_ptr<std::FILE, CloseFile> stream;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::array<char, 160> message{};
};

void refuse_unless_grey(const PngDecoder& decoder) {
    if (decoder.colour_type == PNG_COLOR_TYPE_PALETTE) throw Refusal("has a palette; grey images are read");
    if ((decoder.colour_type & PNG_COLOR_MASK_COLOR) != 0) throw Refusal("is a colour image; grey images are read");
    if (decoder.is_transparent) throw Refusal("has transparency; plain grey images are read");
    if (decoder.bits < 8) {
        throw Refusal("has " + std::to_string(decoder.bits) + " bits a pixel; 8 and 16 bits are read");
    }
}

}  // namespace

SourceImage read_png(const std::filesystem::path& file) {
    PngDecoder decoder(file);
    if (!decoder.read_header()) throw Refusal(std::string("is a damaged or truncated PNG file: ") + decoder.what());
    refuse_unless_grey(decoder);

    SourceImage image;
    image.format = "PNG";
    image.used_bits = decoder.bits;
    set_size(image, decoder.width, decoder.height);
    const std::size_t bytes_per_sample = decoder.bits / 8;
    std::vector<png_byte> bytes(image.samples.size() * bytes_per_sample);
    std::vector<png_bytep> rows(image.height);
    for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = &bytes[y * image.width * bytes_per_sample];
    if (!decoder.read_rows(rows.data())) {
        throw Refusal(std::string("is a damaged or truncated PNG file: ") + decoder.what());
    }
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        image.samples[i] =
            bytes_per_sample == 1 ? bytes[i] : static_cast<std::uint16_t>(bytes[2 * i] * 256 + bytes[2 * i + 1]);
    }
    return image;
}

}  // namespace Norvane::Host
