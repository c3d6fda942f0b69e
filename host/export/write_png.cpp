// SPDX-License-Identifier: Apache-2.0
// A PNG file is a signature and a few chunks around one compressed stream, so it is written here. libpng would filter
// the rows and sum up their bytes one by one, which takes as long as the compression.
#include "export/write_png.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace Norvane::Host {
namespace {

enum class PngColour : char { kGrey = 0, kRgb = 2 };

struct PngLayout {
    unsigned width;
    unsigned height;
    unsigned bits;
    DeflatedContent content;
    PngColour colour = PngColour::kGrey;

    [[nodiscard]] std::size_t row_bytes() const {
        return std::size_t{width} * (bits / 8) * (colour == PngColour::kRgb ? 3 : 1);
    }
};

void append_big_endian(std::string& bytes, std::uint32_t number) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) bytes += static_cast<char>(number >> shift & 0xFF);
}

std::uint32_t crc_of(std::string_view bytes) {
    return static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

/// Appends a chunk. `write` appends its data.
template <class Write>
void append_chunk(std::string& bytes, const char* name, const Write& write) {
    const std::size_t start = bytes.size();
    append_big_endian(bytes, 0);  // becomes the number of data bytes
    bytes += name;
    const std::size_t data = bytes.size();
    write();
    std::string size;
    append_big_endian(size, static_cast<std::uint32_t>(bytes.size() - data));
    bytes.replace(start, size.size(), size);
    append_big_endian(bytes, crc_of(std::string_view(bytes).substr(start + size.size())));
}

/// Rows of bytes, each as its difference to the row above.
class FilteredRows {
public:
    FilteredRows(std::string& bytes, const PngLayout& layout)
        : output(bytes), stream(bytes, DeflateWrapper::kNone, layout.content), above(layout.row_bytes()) {
        constexpr char kHeader[] = "\x78\x01";  // of a zlib stream: a window of 32 KiB, no dictionary
        output.append(kHeader, 2);
        differences.assign(1 + above.size(), 0);
        constexpr std::uint8_t kUp = 2;
        differences.front() = kUp;
        sum_of_equal_row = adler32_z(adler32_z(0, nullptr, 0), differences.data(), differences.size());
    }

    void write(std::span<const std::uint8_t> row) {
        const std::span<std::uint8_t> to = std::span(differences).subspan(1);
        if (std::memcmp(row.data(), above.data(), row.size()) == 0) {
            std::ranges::fill(to, std::uint8_t{0});
            sum = adler32_combine(sum, sum_of_equal_row, static_cast<z_off_t>(differences.size()));
        } else {
            const std::span<std::uint8_t> up(above);
            for (std::size_t i = 0; i < row.size(); ++i) {
                to[i] = static_cast<std::uint8_t>(row[i] - up[i]);
                up[i] = row[i];
            }
            sum = adler32_z(sum, differences.data(), differences.size());
        }
        stream.write(differences);
    }

    void finish() {
        stream.finish();
        append_big_endian(output, static_cast<std::uint32_t>(sum));
    }

private:
    std::string& output;
    DeflateStream stream;
    std::vector<std::uint8_t> above, differences;  // the differences begin with the number of the filter
    uLong sum = adler32_z(0, nullptr, 0), sum_of_equal_row;
};

/// Fills a row of the file. In 16-bit samples, the high byte comes first.
template <class Fill>
std::string encode(const PngLayout& layout, const Fill& fill) {
    std::string bytes = "\x89PNG\r\n\x1A\n";
    append_chunk(bytes, "IHDR", [&] {
        append_big_endian(bytes, layout.width);
        append_big_endian(bytes, layout.height);
        bytes += static_cast<char>(layout.bits);
        bytes += static_cast<char>(layout.colour);
        bytes.append(3, '\0');  // compression and filters have one method each; not interlaced
    });
    append_chunk(bytes, "IDAT", [&] {
        FilteredRows rows(bytes, layout);
        std::vector<std::uint8_t> row(layout.row_bytes());
        for (unsigned y = 0; y < layout.height; ++y) {
            fill(y, std::span(row));
            rows.write(row);
        }
        rows.finish();
    });
    append_chunk(bytes, "IEND", [] {});
    return bytes;
}

template <class Sample>
RowSource<Sample> rows_of_pixels(std::span<const Sample> pixels, unsigned width) {
    return [pixels, width](unsigned y, std::span<Sample> row) {
        std::ranges::copy(pixels.subspan(std::size_t{y} * width, width), row.begin());
    };
}

}  // namespace

std::string encode_png(unsigned width, unsigned height, DeflatedContent content,
                       const RowSource<std::uint8_t>& source) {
    return encode({width, height, 8, content}, source);
}

std::string encode_png(unsigned width, unsigned height, DeflatedContent content,
                       const RowSource<std::uint16_t>& source) {
    std::vector<std::uint16_t> samples(width);
    return encode({width, height, 16, content}, [&](unsigned y, std::span<std::uint8_t> row) {
        source(y, samples);
        auto byte = row.begin();
        for (const std::uint16_t v : samples) {
            *byte++ = static_cast<std::uint8_t>(v >> 8);
            *byte++ = static_cast<std::uint8_t>(v & 0xFF);
        }
    });
}

std::string encode_png(unsigned width, unsigned height, const RowSource<RgbPixel>& source) {
    std::vector<RgbPixel> pixels(width);
    const PngLayout layout{width, height, 8, DeflatedContent::kNoise, PngColour::kRgb};
    return encode(layout, [&](unsigned y, std::span<std::uint8_t> row) {
        source(y, pixels);
        auto byte = row.begin();
        for (const RgbPixel& pixel : pixels) {
            for (const std::uint8_t channel : {pixel.red, pixel.green, pixel.blue}) *byte++ = channel;
        }
    });
}

std::string encode_png(std::span<const std::uint8_t> pixels, unsigned width, unsigned height, DeflatedContent content) {
    return encode_png(width, height, content, rows_of_pixels(pixels, width));
}

std::string encode_png(std::span<const std::uint16_t> pixels, unsigned width, unsigned height) {
    return encode_png(width, height, DeflatedContent::kNoise, rows_of_pixels(pixels, width));
}

}  // namespace Norvane::Host
