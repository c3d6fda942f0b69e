// SPDX-License-Identifier: Apache-2.0
/// One picture in every encoding that is read. The compressed frames are stored in frames/, by transfer syntax, bits
/// and sign. They were made once: run lengths, JPEG and JPEG-LS by DCMTK, the progressive ones of 8 bits by
/// libjpeg-turbo, JPEG 2000 by OpenJPEG, HTJ2K by OpenJPH, JPEG XL by libjxl, deflated frames by Zopfli.
#pragma once

#include "host/io/dicom_builder.h"
#include "support/builders.h"

#include <dcmtk/dcmdata/dcpxitem.h>

namespace Norvane::Tests {

struct Picture {
    unsigned width, height, stored;
    bool is_signed;
    std::vector<std::uint16_t> words;
    unsigned seed = 1;

    [[nodiscard]] bool is_bytes() const { return stored <= 8; }
    [[nodiscard]] int value(std::size_t i) const {
        return is_signed ? static_cast<std::int16_t>(words[i]) : static_cast<int>(words[i]);
    }
};

/// A slope with noise that uses the whole range; odd sizes, so that bytes need padding and blocks are cut. Signed, the
/// middle of the range is 0.
inline Picture picture_of(unsigned stored, bool is_signed, unsigned seed = 1) {
    constexpr unsigned kWidth = 61, kHeight = 47;
    const unsigned top = (1U << stored) - 1, noise = top / (stored == 8 ? 16 : 64);
    Picture picture{kWidth, kHeight, stored, is_signed, {}, seed};
    Random random(seed);
    for (unsigned i = 0; i < kWidth * kHeight; ++i) {
        const unsigned along = i % kWidth + i / kWidth;
        const unsigned grey = (top - noise) * along / (kWidth + kHeight) + random.below(noise + 1);
        picture.words.push_back(static_cast<std::uint16_t>(grey));
    }
    picture.words.front() = 0;
    picture.words.back() = static_cast<std::uint16_t>(top);
    for (std::uint16_t& word : picture.words)
        word = static_cast<std::uint16_t>(word - (is_signed ? 1U << (stored - 1) : 0));
    return picture;
}

using Bytes = std::vector<Uint8>;

struct Encoding {
    const char* uid;
    E_TransferSyntax data_set;  // by which the toolkit is to write the data set
    bool is_compressed = false;
    unsigned most_bits = 16;
    double loss = 0.0;  // the largest difference, as a share of the full range

    /// Whether the frame itself says how many pixels it has.
    [[nodiscard]] bool shows_size() const {
        return uid != std::string("1.2.840.10008.1.2.5") && uid != std::string("1.2.840.10008.1.2.8.1");
    }
    /// The compressed frame.
    [[nodiscard]] Bytes frame_of(const Picture& picture) const {
        const std::string bytes =
            read_bytes(std::string(NORVANE_STORED_FRAMES) + "/" + uid + "-" + std::to_string(picture.stored) +
                       (picture.is_signed ? "-signed" : "") + (picture.seed == 1 ? "" : "-second"));
        EXPECT_FALSE(bytes.empty());
        return {bytes.begin(), bytes.end()};
    }
};

inline constexpr Encoding kEncodings[] = {
    {"1.2.840.10008.1.2", EXS_LittleEndianImplicit},
    {"1.2.840.10008.1.2.1", EXS_LittleEndianExplicit},
    {"1.2.840.10008.1.2.1.99", EXS_DeflatedLittleEndianExplicit},
    {"1.2.840.10008.1.2.2", EXS_BigEndianExplicit},
    {"1.2.840.10008.1.2.5", EXS_RLELossless, true},
    {"1.2.840.10008.1.2.4.50", EXS_JPEGProcess1, true, 8, 0.05},
    {"1.2.840.10008.1.2.4.51", EXS_JPEGProcess2_4, true, 12, 0.05},
    {"1.2.840.10008.1.2.4.53", EXS_JPEGProcess6_8, true, 12, 0.05},
    {"1.2.840.10008.1.2.4.55", EXS_JPEGProcess10_12, true, 12, 0.05},
    {"1.2.840.10008.1.2.4.57", EXS_JPEGProcess14, true},
    {"1.2.840.10008.1.2.4.70", EXS_JPEGProcess14SV1, true},
    {"1.2.840.10008.1.2.4.80", EXS_JPEGLSLossless, true},
    {"1.2.840.10008.1.2.4.81", EXS_JPEGLSLossy, true, 16, 0.02},
    {"1.2.840.10008.1.2.4.90", EXS_JPEG2000LosslessOnly, true},
    {"1.2.840.10008.1.2.4.91", EXS_JPEG2000, true, 16, 0.05},
    {"1.2.840.10008.1.2.4.201", EXS_JPEG2000LosslessOnly, true},
    {"1.2.840.10008.1.2.4.202", EXS_JPEG2000LosslessOnly, true},
    {"1.2.840.10008.1.2.4.203", EXS_JPEG2000, true, 16, 0.02},
    // syntaxes that the toolkit does not know are written as run lengths
    {"1.2.840.10008.1.2.8.1", EXS_RLELossless, true},
    {"1.2.840.10008.1.2.4.110", EXS_RLELossless, true},
    {"1.2.840.10008.1.2.4.111", EXS_RLELossless, true, 8, 0.05},
    {"1.2.840.10008.1.2.4.112", EXS_RLELossless, true, 16, 0.05},
};

/// Puts compressed frames into an object in place of its pixels, in fragments of so many kilobytes (0: one a frame).
inline void put_frames(DcmDataset& header, E_TransferSyntax syntax, const std::vector<Bytes>& frames,
                       unsigned fragment_size = 0, bool has_offset_table = false) {
    auto* sequence = new DcmPixelSequence(DcmTag(DCM_PixelData, EVR_OB));
    auto* table = new DcmPixelItem(DcmTag(DCM_Item, EVR_OB));
    sequence->insert(table);
    DcmOffsetList offsets;
    for (Bytes bytes : frames) {
        const auto length = static_cast<Uint32>(bytes.size());
        EXPECT_TRUE(sequence->storeCompressedFrame(offsets, bytes.data(), length, fragment_size).good());
    }
    EXPECT_TRUE(!has_offset_table || table->createOffsetTable(offsets).good());
    auto* pixels = new DcmPixelData(DcmTag(DCM_PixelData, EVR_OB));
    pixels->putOriginalRepresentation(syntax, nullptr, sequence);
    header.insert(pixels, OFTrue);
}

inline void put_picture(DcmDataset& header, const Picture& picture) {
    const std::string bits = std::to_string(picture.stored), high_bit = std::to_string(picture.stored - 1);
    change(header, "Columns=" + std::to_string(picture.width) + "; Rows=" + std::to_string(picture.height) +
                       "; BitsAllocated=" + (picture.is_bytes() ? "8" : "16") + "; BitsStored=" + bits +
                       "; HighBit=" + high_bit + "; PixelRepresentation=" + (picture.is_signed ? "1" : "0"));
    Bytes bytes(picture.words.begin(), picture.words.end());
    bytes.resize(bytes.size() + bytes.size() % 2);
    if (picture.is_bytes())
        header.putAndInsertUint8Array(DCM_PixelData, bytes.data(), bytes.size());
    else
        header.putAndInsertUint16Array(DCM_PixelData, picture.words.data(), picture.words.size());
}

/// A file of this picture; its object is edited last.
inline std::string write_encoded(const TemporaryFolder& folder, const Encoding& encoding, const Picture& picture,
                                 const Edit& edit = {}) {
    DcmFileFormat object;
    DcmDataset& header = *object.getDataset();
    make_object(header);
    put_picture(header, picture);
    if (encoding.is_compressed) put_frames(header, encoding.data_set, {encoding.frame_of(picture)});
    if (edit) edit(header);
    const std::string file = save(folder, object, encoding.data_set);
    const std::string written = DcmXfer(encoding.data_set).getXferID();
    if (written == encoding.uid) return file;
    return folder.write("image.dcm", with_syntax(read_bytes(file), written, encoding.uid));
}

}  // namespace Norvane::Tests
