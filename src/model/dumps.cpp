// SPDX-License-Identifier: Apache-2.0
/// Writes diagnostic files of images and masks. If a file cannot be opened, nothing is written and nothing reported.
#include "model/mask_reader.h"
#include "model/pixels.h"

#include <norvane/image.h>
#include <norvane/mask.h>

#include <cstdint>
#include <fstream>
#include <ostream>

namespace Norvane {
namespace {

/// Writes the geometry, one line per subject. Each line begins with `prefix`.
void write_geometry(std::ostream& out, const Image& image, const char* prefix) {
    out << prefix << "Width / height: " << image.GetWidth() << " / " << image.GetHeight() << '\n'
        << prefix << "Stride: " << image.GetStride() << '\n'
        << prefix << "Bits / used: " << image.GetBits() << " / " << image.GetUsedBits() << '\n'
        << prefix << "Format: " << int{image.GetFormat()} << '\n'
        << prefix << "Offset X / Y: " << image.GetOffX() << " / " << image.GetOffY() << '\n'
        << prefix << "Needs inversion: " << (image.GetNeedsInversion() ? 1 : 0) << '\n';
}

template <class Sample>
void write_samples(std::ostream& out, const Image& image, char separator) {
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        for (const Sample v : row_of<Sample>(image, y)) out << +v << separator;  // + prints bytes as numbers
        out << '\n';
    }
}

void write_bits(std::ostream& out, const Image& image, char separator) {
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        const unsigned char* row = image.GetBuffer() + y * row_pitch(image);
        for (unsigned x = 0; x < image.GetWidth(); ++x) out << (row[x / 8] >> (7 - x % 8) & 1) << separator;
        out << '\n';
    }
}

/// Writes the samples of the real width; 16-bit ones as unsigned. Depths other than 1, 8, 16 and 32 bits have no
/// samples.
void write_rows(std::ostream& out, const Image& image, char separator) {
    if (image.GetBuffer() == nullptr || image.GetStride() < image.GetWidth()) return;
    const bool is_signed = image.GetFormat() == FORMAT_SIGNED;
    switch (image.GetBits()) {
        case 1:
            return write_bits(out, image, separator);
        case 8:
            return is_signed ? write_samples<std::int8_t>(out, image, separator)
                             : write_samples<std::uint8_t>(out, image, separator);
        case 16:
            return write_samples<std::uint16_t>(out, image, separator);
        case 32:
            if (image.GetFormat() == FORMAT_FLOAT) return write_samples<float>(out, image, separator);
            return is_signed ? write_samples<std::int32_t>(out, image, separator)
                             : write_samples<std::uint32_t>(out, image, separator);
        default:
            return;
    }
}

}  // namespace

// All files are opened as binary ones, so that Windows writes the same bytes.

void Image::DumpToFile(std::string file) {
    std::ofstream out(file, std::ios::binary);
    write_geometry(out, *this, "");
    out << "Buffer:\n";
    write_rows(out, *this, ' ');
}

void Image::DumpToPGMImage(std::string file) {
    std::ofstream out(file, std::ios::binary);
    out << "P2\n" << width << '\n' << height << "\n65535\n";
    write_geometry(out, *this, "#");
    write_rows(out, *this, '\t');
}

void Image::DumpToBinaryFile(std::string file) {
    std::ofstream out(file, std::ios::binary);
    if (buffer != nullptr) out.write(reinterpret_cast<const char*>(buffer), static_cast<std::streamsize>(BufferSize()));
}

void Mask::DumpToCSV(std::string file) const {
    constexpr int kStep = 5;  // of the sample lattice, pixels
    std::ofstream out(file, std::ios::binary);
    if (rows.empty()) return;
    MaskReader reader(*this);
    const unsigned first = GetMinY(), last = GetMaxY();
    if (rows_of(*this).is_empty()) return;
    for (auto y = reader.next_row(first); y <= last; y = reader.next_row(y + 1)) {
        if ((y - first) % kStep != 0) continue;
        const auto row = static_cast<int>(y);
        for (const Run& run : reader.row(y)) {
            const auto end = static_cast<int>(run.last);
            for (std::int64_t x = static_cast<int>(run.first); x < end; x += kStep) out << x << ',' << row << '\n';
        }
    }
}

}  // namespace Norvane
