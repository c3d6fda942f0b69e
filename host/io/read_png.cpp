// SPDX-License-Identifier: Apache-2.0
#include "io/read_png.h"

#include "io/byte_source.h"
#include "io/colour_channels.h"
#include "io/decoding/widened_bytes.h"
#include "io/refusal.h"

#include <fmt/format.h>
#include <png.h>

#include <array>
#include <bit>
#include <csetjmp>
#include <cstring>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <vector>

namespace Norvane::Host {
namespace {

/// If libpng fails, it leaves its functions by longjmp, which runs no destructors. Therefore everything that owns
/// memory lives in this object or in the caller of its two steps, and the steps themselves have only plain locals.
class PngDecoder {
public:
    explicit PngDecoder(const std::filesystem::path& path) : file(path) {
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, on_error, on_warning);
        if (png != nullptr) info = png_create_info_struct(png);
        if (info == nullptr) throw std::bad_alloc();
    }
    ~PngDecoder() { png_destroy_read_struct(&png, &info, nullptr); }
    PngDecoder(const PngDecoder&) = delete;
    PngDecoder& operator=(const PngDecoder&) = delete;

    bool read_header() {
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        png_set_read_fn(png, this, on_bytes_wanted);
        pass_over_unused_chunks();
        png_read_info(png, info);
        width = png_get_image_width(png, info);
        height = png_get_image_height(png, info);
        bits = png_get_bit_depth(png, info);
        colour_type = png_get_color_type(png, info);
        most_bytes +=
            std::uint64_t{width} * height * channels() * (bits / 8 + 1);  // deflate lengthens by a thousandth at most
        is_transparent = (colour_type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
        return true;
    }

    [[nodiscard]] bool is_rgb() const { return colour_type == PNG_COLOR_TYPE_RGB; }
    [[nodiscard]] std::size_t channels() const { return is_rgb() ? kColourChannels : 1; }
    /// The number of bytes that read_rgb() needs: a row, or all rows if the file holds them in several passes.
    [[nodiscard]] std::uint64_t rgb_bytes() const {
        const bool is_interlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
        if (!is_rgb()) return 0;
        return std::uint64_t{width} * kColourChannels * (bits / 8) * (is_interlaced ? height : 1);
    }

    /// Fills `samples`. If the channels differ, sets `is_colour` and does not read the rest.
    bool read_rgb(std::span<std::uint16_t> samples) {
        rgb.resize(static_cast<std::size_t>(rgb_bytes()));
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        const int passes = begin_pixels();
        const std::size_t row_bytes = png_get_rowbytes(png, info);
        for (int pass = 1; pass <= passes; ++pass) {
            for (png_uint_32 y = 0; y < height; ++y) {
                png_bytep row = rgb.data() + (passes > 1 ? y * row_bytes : 0);
                png_read_row(png, row, nullptr);
                if (pass == passes && !take_row(row, samples.subspan(std::size_t{y} * width, width))) return true;
            }
        }
        png_read_end(png, nullptr);
        return true;
    }

    /// Fills `pixels`, which has room for width x height samples of the file's depth, in the byte order of this
    /// machine.
    bool read_pixels(png_bytep pixels) {
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        const int passes = begin_pixels();
        const std::size_t row_bytes = png_get_rowbytes(png, info);
        for (int pass = 0; pass < passes; ++pass) {
            for (png_uint_32 y = 0; y < height; ++y) png_read_row(png, pixels + y * row_bytes, nullptr);
        }
        png_read_end(png, nullptr);
        return true;
    }

    [[nodiscard]] const char* what() const { return message.data(); }

    png_uint_32 width = 0;
    png_uint_32 height = 0;
    unsigned bits = 0;
    int colour_type = 0;
    bool is_transparent = false;
    bool is_colour = false;  ///< known after read_rgb()

private:
    // Returns the number of passes over the rows.
    int begin_pixels() {
        const int passes = png_set_interlace_handling(png);
        if (std::endian::native == std::endian::little) png_set_swap(png);
        png_read_update_info(png, info);
        return passes;
    }
    bool take_row(png_const_bytep row, std::span<std::uint16_t> samples) {
        const std::size_t count = samples.size() * kColourChannels;
        const bool is_grey =
            bits == 8 ? take_equal_channels(std::span(row, count), samples)
                      : take_equal_channels(std::span(reinterpret_cast<const std::uint16_t*>(row), count), samples);
        is_colour = !is_grey;
        return is_grey;
    }
    // Texts and colour profiles are compressed too, and they may inflate to large sizes.
    void pass_over_unused_chunks() {
        static constexpr png_byte kUnused[] = "iCCP\0zTXt\0iTXt\0tEXt\0sPLT\0eXIf\0hIST";
        png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kUnused, sizeof kUnused / 5);
    }
    std::size_t read_into(std::span<std::uint8_t> to) noexcept {
        try {
            if (file.position() > most_bytes) throw Refusal("it holds more bytes than an image of its size needs");
            return file.read(to);
        } catch (const std::exception& e) {
            std::strncpy(message.data(), e.what(), message.size() - 1);
            return 0;
        }
    }
    static void on_bytes_wanted(png_structp png, png_bytep to, std::size_t count) {
        auto* self = static_cast<PngDecoder*>(png_get_io_ptr(png));
        if (self->read_into({to, count}) == count) return;
        png_error(png, self->message[0] != '\0' ? self->message.data() : "Read Error");
    }
    static void on_error(png_structp png, png_const_charp text) {
        auto* self = static_cast<PngDecoder*>(png_get_error_ptr(png));
        if (text != self->message.data()) std::strncpy(self->message.data(), text, self->message.size() - 1);
        png_longjmp(png, 1);
    }
    static void on_warning(png_structp, png_const_charp) {}

    FileBytes file;
    std::uint64_t most_bytes = std::uint64_t{64} << 20;  // of the file; if it has more, it is hostile
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<std::uint8_t> rgb;
    std::array<char, 160> message{};
};

void refuse_unless_readable(const PngDecoder& decoder) {
    if (decoder.colour_type == PNG_COLOR_TYPE_PALETTE) throw Refusal("has a palette; grey images are read");
    if (decoder.colour_type == PNG_COLOR_TYPE_RGB_ALPHA) refuse_colour();
    if (decoder.is_transparent) throw Refusal("has transparency; plain grey images are read");
    if (decoder.bits < 8) {
        throw Refusal(fmt::format("has {} bits a pixel; 8 and 16 bits are read", decoder.bits));
    }
}

}  // namespace

SourceImage read_png(const std::filesystem::path& file, const ReadOptions& options) {
    PngDecoder decoder(file);
    if (!decoder.read_header()) throw Refusal(std::string("is a damaged or truncated PNG file: ") + decoder.what());
    refuse_unless_readable(decoder);

    SourceImage image;
    image.format = "PNG";
    image.used_bits = decoder.bits;
    set_size(image, decoder.width, decoder.height, options, decoder.rgb_bytes());
    const bool is_whole = decoder.is_rgb() ? decoder.read_rgb(image.samples)
                                           : decoder.read_pixels(reinterpret_cast<png_bytep>(image.samples.data()));
    if (!is_whole) throw Refusal(std::string("is a damaged or truncated PNG file: ") + decoder.what());
    if (decoder.is_colour) refuse_colour();
    if (decoder.is_rgb()) {
        image.encoding = kEqualChannels;
    } else if (decoder.bits == 8) {
        widen_bytes(image.samples);
    }
    return image;
}

}  // namespace Norvane::Host
