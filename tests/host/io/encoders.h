// SPDX-License-Identifier: Apache-2.0
/// One picture in every encoding that is read.
#pragma once

#include "host/io/dicom_builder.h"

#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmdata/dcrlerp.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpeg/djrplol.h>
#include <dcmtk/dcmjpeg/djrploss.h>
#include <dcmtk/dcmjpls/djencode.h>
#include <dcmtk/dcmjpls/djrparam.h>
#include <dcmtk/oflog/oflog.h>
#include <openjpeg.h>
#include <openjph/ojph_arch.h>
#include <openjph/ojph_codestream.h>
#include <openjph/ojph_file.h>
#include <openjph/ojph_mem.h>
#include <openjph/ojph_params.h>

namespace Norvane::Tests {

struct Picture {
    unsigned width, height, stored;
    bool is_signed;
    Samples words;

    [[nodiscard]] bool is_bytes() const { return stored <= 8; }
    [[nodiscard]] int value(std::size_t i) const {
        return is_signed ? static_cast<std::int16_t>(words[i]) : static_cast<int>(words[i]);
    }
};

inline void put_picture(DcmDataset& header, const Picture& picture) {
    change(header, "Columns=" + std::to_string(picture.width) + "; Rows=" + std::to_string(picture.height) +
                       "; BitsAllocated=" + (picture.is_bytes() ? "8" : "16") + "; BitsStored=" +
                       std::to_string(picture.stored) + "; HighBit=" + std::to_string(picture.stored - 1) +
                       "; PixelRepresentation=" + (picture.is_signed ? "1" : "0"));
    if (!picture.is_bytes()) {
        header.putAndInsertUint16Array(DCM_PixelData, picture.words.data(), picture.words.size());
        return;
    }
    std::vector<Uint8> bytes(picture.words.begin(), picture.words.end());
    bytes.resize(bytes.size() + bytes.size() % 2);
    header.putAndInsertUint8Array(DCM_PixelData, bytes.data(), bytes.size());
}

using Bytes = std::vector<Uint8>;

inline Bytes encode_by_toolkit(const Picture& picture, E_TransferSyntax syntax,
                               const DcmRepresentationParameter& parameter) {
    static const bool is_registered = [] {
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs(0, 0, 0, 0, OFFalse);  // words as they are
        DcmRLEEncoderRegistration::registerCodecs();
        return true;
    }();
    EXPECT_TRUE(is_registered);
    DcmDataset header;
    make_object(header);
    Picture cut = picture;  // an encoder trusts that nothing lies above the stored bits, not even signs
    for (std::uint16_t& word : cut.words) word &= static_cast<std::uint16_t>((1U << picture.stored) - 1);
    put_picture(header, cut);
    EXPECT_TRUE(header.chooseRepresentation(syntax, &parameter).good());
    DcmElement* element = nullptr;
    DcmPixelSequence* sequence = nullptr;
    DcmPixelItem* fragment = nullptr;
    Uint8* data = nullptr;
    header.findAndGetElement(DCM_PixelData, element);
    auto* pixels = dynamic_cast<DcmPixelData*>(element);
    EXPECT_TRUE(pixels != nullptr && pixels->getEncapsulatedRepresentation(syntax, &parameter, sequence).good());
    EXPECT_TRUE(sequence->getItem(fragment, 1).good() && fragment->getUint8Array(data).good());
    return {data, data + fragment->getLength()};
}

inline Bytes encode_jpeg2000(const Picture& picture, bool is_lossless) {
    opj_image_cmptparm_t layout{};
    layout.dx = layout.dy = 1;
    layout.w = picture.width;
    layout.h = picture.height;
    layout.prec = picture.stored;
    layout.sgnd = picture.is_signed ? 1 : 0;
    opj_image_t* image = opj_image_create(1, &layout, OPJ_CLRSPC_GRAY);
    image->x1 = picture.width;
    image->y1 = picture.height;
    for (std::size_t i = 0; i < picture.words.size(); ++i) image->comps[0].data[i] = picture.value(i);
    opj_cparameters_t settings;
    opj_set_default_encoder_parameters(&settings);
    settings.irreversible = is_lossless ? 0 : 1;
    settings.tcp_numlayers = 1;
    settings.cp_disto_alloc = 1;
    settings.tcp_rates[0] = is_lossless ? 0.0F : 4.0F;
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
    const std::string file =
        std::filesystem::temp_directory_path() / ("norvane-" + std::to_string(::getpid()) + ".j2k");
    opj_stream_t* stream = opj_stream_create_default_file_stream(file.c_str(), OPJ_FALSE);
    EXPECT_TRUE(opj_setup_encoder(codec, &settings, image) != 0 && opj_start_compress(codec, image, stream) != 0 &&
                opj_encode(codec, stream) != 0 && opj_end_compress(codec, stream) != 0);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    const std::string bytes = read_bytes(file);
    std::filesystem::remove(file);
    return {bytes.begin(), bytes.end()};
}

inline Bytes encode_htj2k(const Picture& picture, const char* order, bool is_lossless) {
    ojph::codestream codestream;
    ojph::param_siz size = codestream.access_siz();
    size.set_image_extent(ojph::point(picture.width, picture.height));
    size.set_num_components(1);
    size.set_component(0, ojph::point(1, 1), picture.stored, picture.is_signed);
    ojph::param_cod coding = codestream.access_cod();
    coding.set_progression_order(order);
    coding.set_reversible(is_lossless);
    coding.set_color_transform(false);
    if (!is_lossless) codestream.access_qcd().set_irrev_quant(0.0005F);
    codestream.set_planar(false);
    ojph::mem_outfile target;
    target.open();
    codestream.write_headers(&target);
    ojph::ui32 component = 0;
    ojph::line_buf* line = codestream.exchange(nullptr, component);
    for (unsigned y = 0; y < picture.height; ++y) {
        for (unsigned x = 0; x < picture.width; ++x) line->i32[x] = picture.value(std::size_t{y} * picture.width + x);
        line = codestream.exchange(line, component);
    }
    codestream.flush();
    Bytes bytes(target.get_data(), target.get_data() + target.tell());
    codestream.close();
    return bytes;
}

struct Encoding {
    const char* uid;
    E_TransferSyntax data_set;                    // by which the toolkit is to write the data set
    std::function<Bytes(const Picture&)> encode;  // none: not compressed
    unsigned most_bits = 16;
    double loss = 0.0;  // the largest difference, as a share of the full range
};

inline std::vector<Encoding> all_encodings() {
    const auto toolkit = [](E_TransferSyntax syntax, const auto& parameter) {
        return [=](const Picture& picture) { return encode_by_toolkit(picture, syntax, parameter); };
    };
    const auto j2k = [](bool is_lossless) {
        return [=](const Picture& picture) { return encode_jpeg2000(picture, is_lossless); };
    };
    const auto htj2k = [](const char* order, bool is_lossless) {
        return [=](const Picture& picture) { return encode_htj2k(picture, order, is_lossless); };
    };
    const DJLSRepresentationParameter lossless(0, OFTrue);
    const DJLSRepresentationParameter near_lossless(3, OFFalse);
    return {
        {"1.2.840.10008.1.2", EXS_LittleEndianImplicit, {}},
        {"1.2.840.10008.1.2.1", EXS_LittleEndianExplicit, {}},
        {"1.2.840.10008.1.2.1.99", EXS_DeflatedLittleEndianExplicit, {}},
        {"1.2.840.10008.1.2.2", EXS_BigEndianExplicit, {}},
        {"1.2.840.10008.1.2.5", EXS_RLELossless, toolkit(EXS_RLELossless, DcmRLERepresentationParameter())},
        {"1.2.840.10008.1.2.4.50", EXS_JPEGProcess1, toolkit(EXS_JPEGProcess1, DJ_RPLossy(95)), 8, 0.05},
        {"1.2.840.10008.1.2.4.51", EXS_JPEGProcess2_4, toolkit(EXS_JPEGProcess2_4, DJ_RPLossy(95)), 12, 0.05},
        {"1.2.840.10008.1.2.4.57", EXS_JPEGProcess14, toolkit(EXS_JPEGProcess14, DJ_RPLossless(6, 0))},
        {"1.2.840.10008.1.2.4.70", EXS_JPEGProcess14SV1, toolkit(EXS_JPEGProcess14SV1, DJ_RPLossless(1, 0))},
        {"1.2.840.10008.1.2.4.80", EXS_JPEGLSLossless, toolkit(EXS_JPEGLSLossless, lossless)},
        {"1.2.840.10008.1.2.4.81", EXS_JPEGLSLossy, toolkit(EXS_JPEGLSLossy, near_lossless), 16, 0.02},
        {"1.2.840.10008.1.2.4.90", EXS_JPEG2000LosslessOnly, j2k(true)},
        {"1.2.840.10008.1.2.4.91", EXS_JPEG2000, j2k(false), 16, 0.05},
        {"1.2.840.10008.1.2.4.201", EXS_JPEG2000LosslessOnly, htj2k("LRCP", true)},
        {"1.2.840.10008.1.2.4.202", EXS_JPEG2000LosslessOnly, htj2k("RPCL", true)},
        {"1.2.840.10008.1.2.4.203", EXS_JPEG2000, htj2k("PCRL", false), 16, 0.02},
    };
}

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

/// A file of this picture; its object is edited last.
inline std::string write_encoded(const TemporaryFolder& folder, const Encoding& encoding, const Picture& picture,
                                 const Edit& edit = {}) {
    DcmFileFormat object;
    DcmDataset& header = *object.getDataset();
    make_object(header);
    put_picture(header, picture);
    if (encoding.encode) put_frames(header, encoding.data_set, {encoding.encode(picture)});
    if (edit) edit(header);
    const std::string file = save(folder, object, encoding.data_set);
    const std::string written = DcmXfer(encoding.data_set).getXferID();
    if (written != encoding.uid) {
        return folder.write("image.dcm", with_syntax(read_bytes(file), written, encoding.uid));
    }
    return file;
}

}  // namespace Norvane::Tests
