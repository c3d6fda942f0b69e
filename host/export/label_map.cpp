// SPDX-License-Identifier: Apache-2.0
#include "export/label_map.h"

#include "export/program_version.h"
#include "export/source_masks.h"
#include "export/write_png.h"
#include "io/number_text.h"

#include <zlib.h>

#include <new>

namespace Norvane::Host {
namespace {

/// Compresses bytes as they come into a gzip stream. Without a time in it: the same input gives the same bytes.
class GzipStream {
public:
    explicit GzipStream(std::string& bytes) : output(bytes) {
        constexpr int kLevel = 9;
        constexpr int kWindowBits = 15 + 16;  // 16 asks for the gzip wrapper
        constexpr int kMemoryLevel = 8;
        // As runs: labels are areas, and the general search takes five times as long.
        if (deflateInit2(&stream, kLevel, Z_DEFLATED, kWindowBits, kMemoryLevel, Z_RLE) != Z_OK) throw std::bad_alloc();
    }
    ~GzipStream() { deflateEnd(&stream); }
    GzipStream(const GzipStream&) = delete;
    GzipStream& operator=(const GzipStream&) = delete;

    void write(std::span<std::uint8_t> row) { run(row, Z_NO_FLUSH); }
    void finish() { run({}, Z_FINISH); }

private:
    void run(std::span<std::uint8_t> row, int flush) {
        stream.next_in = row.data();
        stream.avail_in = static_cast<uInt>(row.size());
        do {
            char buffer[16384];
            stream.next_out = reinterpret_cast<Bytef*>(buffer);
            stream.avail_out = sizeof buffer;
            (void)deflate(&stream, flush);  // fails for wrong use only
            output.append(buffer, sizeof buffer - stream.avail_out);
        } while (stream.avail_out == 0);
    }

    std::string& output;
    z_stream stream{};
};

}  // namespace

std::string label_png(const Findings& findings) {
    const LabelImage labels(findings);
    const RowSource<std::uint8_t> rows = [&labels](unsigned y, std::span<std::uint8_t> row) {
        labels.fill_row(y, row);
    };
    return encode_png(labels.width(), labels.height(), PngContent::kRegions, rows);
}

std::string label_nrrd(const Findings& findings) {
    const LabelImage labels(findings);
    const std::string millimetres = number_text(findings.settings.pixel_size_um.value / 1000.0);
    std::string bytes = "NRRD0004\n# norvane ";
    bytes += program_version();
    bytes += "\ntype: uint8\ndimension: 2\nsizes: " + std::to_string(labels.width()) + " ";
    bytes += std::to_string(labels.height());
    bytes += "\nspacings: " + millimetres + " " + millimetres + "\nunits: \"mm\" \"mm\"\nencoding: gzip\n";
    bytes += "label_0:=background\nlabel_1:=breast\nlabel_2:=pectoral muscle\n\n";
    GzipStream compressed(bytes);
    std::vector<std::uint8_t> row(labels.width());
    for (unsigned y = 0; y < labels.height(); ++y) {
        labels.fill_row(y, row);
        compressed.write(row);
    }
    compressed.finish();
    return bytes;
}

}  // namespace Norvane::Host
