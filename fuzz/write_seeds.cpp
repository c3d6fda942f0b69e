// SPDX-License-Identifier: Apache-2.0
/// Writes the first inputs of every target: write_seeds FOLDER makes FOLDER/TARGET/NUMBER.
#include "export/write_png.h"
#include "host/io/encodings.h"
#include "run/image_record.h"
#include "support/builders.h"

#include <tiffio.h>

#include <cstdio>
#include <map>

namespace Norvane::Fuzz {
namespace {

using namespace Tests;

class Seeds {
public:
    explicit Seeds(std::filesystem::path folder) : root(std::move(folder)) {}
    void add(const std::string& target, const std::string& bytes) {
        std::ofstream(next(target), std::ios::binary) << bytes;
    }
    /// The name for the next seed.
    [[nodiscard]] std::string next(const std::string& target) {
        std::filesystem::create_directories(root / target);
        return (root / target / std::to_string(++counts[target])).string();
    }

private:
    std::filesystem::path root;
    std::map<std::string, unsigned> counts;
};

void write_tiff(const std::string& file, const Picture& picture, unsigned compression, bool is_tiled,
                const char* mode) {
    TIFF* tiff = TIFFOpen(file.c_str(), mode);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, picture.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, picture.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    std::vector<std::uint16_t> words = picture.words;
    if (is_tiled) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
        std::vector<std::uint16_t> tile(16 * 16);
        for (unsigned y = 0; y < picture.height; y += 16)
            for (unsigned x = 0; x < picture.width; x += 16) {
                tile[0] = words[std::size_t{y} * picture.width + x];
                TIFFWriteTile(tiff, tile.data(), x, y, 0, 0);
            }
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 7);
        for (unsigned y = 0; y < picture.height; ++y)
            TIFFWriteScanline(tiff, words.data() + std::size_t{y} * picture.width, y, 0);
    }
    TIFFClose(tiff);
}

void write_rasters(Seeds& seeds) {
    const Picture picture = picture_of(12, false), bytes = picture_of(8, false);
    std::string raw = "P5\n# a comment\n61 47\n4095\n", narrow = "P5 61 47 255\n", plain = "P2\n61 47 4095\n";
    for (const std::uint16_t word : picture.words) {
        raw += static_cast<char>(word >> 8);
        raw += static_cast<char>(word & 0xFF);
        plain += std::to_string(word) + '\n';
    }
    for (const std::uint16_t word : bytes.words) narrow += static_cast<char>(word);
    for (const std::string& pgm : {raw, narrow, plain}) seeds.add("read_pgm", pgm);
    seeds.add("read_png", Host::encode_png(picture.words, picture.width, picture.height));
    const std::vector<std::uint8_t> narrow_samples(bytes.words.begin(), bytes.words.end());
    seeds.add("read_png", Host::encode_png(narrow_samples, bytes.width, bytes.height));
    for (const unsigned compression :
         {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS})
        for (const bool is_tiled : {false, true})
            for (const char* mode : {"wl", "wb", "w8"})
                write_tiff(seeds.next("read_tiff"), picture, compression, is_tiled, mode);
}

void write_dicom(Seeds& seeds) {
    unsigned char number = 0;
    for (const Encoding& encoding : kEncodings) {
        const Picture picture = picture_of(encoding.most_bits == 8 ? 8 : 12, false);
        DcmFileFormat object;
        make_object(*object.getDataset());
        put_picture(*object.getDataset(), picture);
        change(*object.getDataset(),
               "ViewPosition=MLO; ImageLaterality=L; Modality=MG; WindowCenter=2000; WindowWidth=900;"
               "ViewCodeSequence[0].CodeValue=R-10226");
        std::string frame;
        if (encoding.is_compressed) {
            const Bytes bytes = encoding.frame_of(picture);
            frame.assign(bytes.begin(), bytes.end());
            put_frames(*object.getDataset(), encoding.data_set, {bytes}, 0, true);
        } else {
            for (const std::uint16_t word : picture.words)
                frame += {static_cast<char>(word), static_cast<char>(word >> 8)};
        }
        const std::string file = seeds.next("read_dicom");
        EXPECT_TRUE(object.saveFile(file.c_str(), encoding.data_set).good());
        const std::string written = DcmXfer(encoding.data_set).getXferID();
        if (written != encoding.uid) {
            const std::string bytes = with_syntax(Tests::read_bytes(file), written, encoding.uid);
            std::ofstream(file, std::ios::binary) << bytes;
        }
        // The form that dicom_frame.cpp reads: syntax, columns, rows, layout, frames, table, cut, then the frame.
        const unsigned layout = picture.is_bytes() ? 16 + 7 : 11;
        const char head[] = {static_cast<char>(number++), 61, 0, 47, 0, static_cast<char>(layout), 0, 1, 0};
        seeds.add("dicom_frame", std::string(head, sizeof head) + frame);
    }
}

void write_bytes(Seeds& seeds) {
    Random random(1);
    const auto some = [&random](unsigned size) {
        std::string bytes;
        for (unsigned i = 0; i < size; ++i) bytes += static_cast<char>(random.chance(3) ? 0 : random.below(256));
        return bytes;
    };
    for (const char* target :
         {"prepare_image", "entry_functions", "mask_algebra", "polygon", "png_pixels", "tiff_pixels", "fragments"})
        for (int i = 0; i < 40; ++i) seeds.add(target, some(20 + random.below(200)));
}

// Puts a byte of options before each file for a reader.
void write_results_seeds(Seeds& seeds, const std::filesystem::path& root) {
    unsigned char flags = 0;
    for (const char* reader : {"read_pgm", "read_png", "read_tiff", "read_dicom"}) {
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator(root / reader)) files.push_back(entry.path());
        std::ranges::sort(files);
        for (const auto& file : files) {
            seeds.add("written_results", std::string{static_cast<char>(flags)} + Tests::read_bytes(file));
            flags = static_cast<unsigned char>(flags * 5 + 9);  // all of them, in some order
        }
    }
}

// The numbers of a grey image with a breast, in the order in which the targets read them.
std::string breast_image(bool on_left, unsigned width, unsigned height) {
    std::string bytes;
    const auto put_byte = [&bytes](unsigned value) { bytes += static_cast<char>(value); };
    const auto put_word = [&](unsigned value) { put_byte(value & 0xFFU), put_byte(value >> 8U); };
    put_word(width);
    put_word(height);
    for (int i = 0; i < 6; ++i) put_byte(0);  // format, depth, strides, buffer, kind of picture
    put_byte(on_left ? 1 : 0);
    const unsigned muscle = width * 3 / 5;
    for (const unsigned v : {width * 2 / 3, height / 2, muscle}) put_word(v);
    put_byte(width % 7);  // frame
    for (const unsigned grey : {300U, 2000U, 30000U, 9000U}) put_word(grey);
    for (int i = 0; i < 8; ++i) put_byte(0);  // seed, depth, used bits, pixel size, inversion, offsets
    return bytes;
}

void write_breasts(Seeds& seeds) {
    const auto repeated = [](const std::string& text, unsigned count) {
        std::string all;
        for (unsigned i = 0; i < count; ++i) all += text;
        return all;
    };
    for (char noise = 0; noise < 10; ++noise)
        for (const bool on_left : {false, true}) {
            const std::string image = breast_image(on_left, 120 + 9 * static_cast<unsigned>(noise), 220);
            seeds.add("prepare_image", std::string{noise, static_cast<char>(noise * 5), 10, 0, 99, 0} + image);
            for (char entry = 0; entry < 4; ++entry) {
                // Four empty masks, two calls with masks of their own, then parameters with any flags.
                const std::string call{entry, 0, 0, 0, 0, 1};
                const std::string params{0,     on_left ? '\1' : '\0',
                                         0,     0,
                                         noise, 0,
                                         40,    0,
                                         50,    static_cast<char>(noise * 23 + entry),
                                         0,     4,
                                         0,     0,
                                         0};
                seeds.add("entry_functions", std::string(4, '\0') + '\1' + repeated(call, 2) + params + image);
            }
        }
}

void write_texts(Seeds& seeds) {
    Host::ImageRecord record;
    record.file = record.name = "a/b.dcm";
    record.flags = {"spot"};
    record.warnings = {"Two fields contradict each other."};
    seeds.add("texts", Host::json_line(record));
    record.refusal = "is empty";
    seeds.add("texts", Host::json_line(record));
    for (const char* words :
         {"masks\na.dcm\n--side\nleft\n--view\nmlo\n--pixel-size\n70\n--frame\n2\n--crop\nnone\n--noise\nauto",
          "masks\n--padding\n0:17\n--invert\n--fast\n--no-contour\n--results\njson,masks,seg\n--jobs\n2\nb.png",
          "masks\n--resume\n--shard\n1/4\n--manifest\nlist\n--root\n/a\n--fail-list\nf\n--dry-run\n--format\njson",
          "info\n--format\njson\na", "score\n--help", "score\ntruth\n--masks\nresults\n--values\n1,2:3",
          "phantom\np.png\n--side\nright", "masks\n--help", "--version"})
        seeds.add("texts", std::string("-") + words);
}

}  // namespace
}  // namespace Norvane::Fuzz

int main(int argc, char** argv) {
    using namespace Norvane::Fuzz;
    if (argc != 2) return 2;
    Seeds seeds(argv[1]);
    write_rasters(seeds);
    write_dicom(seeds);
    write_results_seeds(seeds, argv[1]);
    write_bytes(seeds);
    write_breasts(seeds);
    write_texts(seeds);
    return testing::Test::HasFailure() ? 1 : 0;
}
