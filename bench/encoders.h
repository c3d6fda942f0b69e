// SPDX-License-Identifier: Apache-2.0
/// Encoders for pictures of any size.
#pragma once

#include "host/io/encodings.h"

#include <dcmtk/dcmjpeg/djencode.h>
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

namespace Norvane::Bench {

using Tests::Bytes;
using Tests::Picture;

inline Bytes encode_by_toolkit(const Picture& picture, E_TransferSyntax syntax,
                               const DcmRepresentationParameter& parameter) {
    static const bool is_registered = [] {
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs(0, 0, 0, 0, OFFalse);  // words as they are
        return true;
    }();
    EXPECT_TRUE(is_registered);
    DcmDataset header;
    Tests::make_object(header);
    Picture cut = picture;  // an encoder trusts that nothing lies above the stored bits, not even signs
    for (std::uint16_t& word : cut.words) word &= static_cast<std::uint16_t>((1U << picture.stored) - 1);
    Tests::put_picture(header, cut);
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

inline Bytes encode_jpeg2000(const Picture& picture) {
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
    settings.tcp_numlayers = 1;
    settings.cp_disto_alloc = 1;
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
    const std::string file =
        std::filesystem::temp_directory_path() / ("norvane-" + std::to_string(::getpid()) + ".j2k");
    opj_stream_t* stream = opj_stream_create_default_file_stream(file.c_str(), OPJ_FALSE);
    EXPECT_TRUE(opj_setup_encoder(codec, &settings, image) != 0 && opj_start_compress(codec, image, stream) != 0 &&
                opj_encode(codec, stream) != 0 && opj_end_compress(codec, stream) != 0);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    const std::string bytes = Tests::read_bytes(file);
    std::filesystem::remove(file);
    return {bytes.begin(), bytes.end()};
}

inline Bytes encode_htj2k(const Picture& picture) {
    ojph::codestream codestream;
    ojph::param_siz size = codestream.access_siz();
    size.set_image_extent(ojph::point(picture.width, picture.height));
    size.set_num_components(1);
    size.set_component(0, ojph::point(1, 1), picture.stored, picture.is_signed);
    ojph::param_cod coding = codestream.access_cod();
    coding.set_progression_order("LRCP");
    coding.set_reversible(true);
    coding.set_color_transform(false);
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

}  // namespace Norvane::Bench
