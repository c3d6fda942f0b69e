// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/jpeg.h"

#include "io/decoding/refusal.h"
#include "io/decoding/widened_bytes.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/dcmjpls/djdecode.h>
#include <dcmtk/oflog/oflog.h>

#include <algorithm>
#include <memory>
#include <string>

namespace Norvane::Host {
namespace {

/// The toolkit's decoders, silent and registered for the life of the program.
struct ToolkitDecoders {
    ToolkitDecoders() {
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        DJDecoderRegistration::registerCodecs();
        DJLSDecoderRegistration::registerCodecs();
    }
    ~ToolkitDecoders() {
        DJLSDecoderRegistration::cleanup();
        DJDecoderRegistration::cleanup();
    }
    ToolkitDecoders(const ToolkitDecoders&) = delete;
    ToolkitDecoders& operator=(const ToolkitDecoders&) = delete;
};

void must_be_good(const OFCondition& condition) {
    if (condition.bad()) throw Refusal(std::string("has pixel data that cannot be decoded: ") + condition.text());
}

void put_number(DcmItem& object, const DcmTagKey& key, unsigned value) {
    // The tag names the type, so the toolkit does not load its dictionary to look it up.
    auto element = std::make_unique<DcmUnsignedShort>(DcmTag(key, EVR_US));
    must_be_good(element->putUint16(static_cast<Uint16>(value), 0));
    must_be_good(object.insert(element.release()));
}

void put_text(DcmItem& object, const DcmTagKey& key, const char* text) {
    auto element = std::make_unique<DcmCodeString>(DcmTag(key, EVR_CS));
    must_be_good(element->putString(text));
    must_be_good(object.insert(element.release()));
}

/// What the toolkit reads of an object, made of what is known about the frame.
void put_header(DcmItem& object, const CompressedFrame& frame) {
    put_number(object, DCM_SamplesPerPixel, 1);
    put_text(object, DCM_PhotometricInterpretation, "MONOCHROME2");
    put_number(object, DCM_Rows, frame.height);
    put_number(object, DCM_Columns, frame.width);
    put_number(object, DCM_BitsAllocated, frame.bits > 8 ? 16 : 8);
    put_number(object, DCM_BitsStored, frame.bits);
    put_number(object, DCM_HighBit, frame.bits - 1);
    put_number(object, DCM_PixelRepresentation, 0);
}

/// Pixel data with one fragment and an empty offset table. The toolkit never sees those of the file.
std::unique_ptr<DcmPixelData> pixel_data_of(const CompressedFrame& frame) {
    auto sequence = std::make_unique<DcmPixelSequence>(DcmTag(DCM_PixelData, EVR_OB));
    const auto add = [&sequence](std::span<const std::uint8_t> bytes) {
        auto fragment = std::make_unique<DcmPixelItem>(DcmTag(DCM_Item, EVR_OB));
        must_be_good(fragment->putUint8Array(bytes.data(), bytes.size()));
        must_be_good(sequence->insert(fragment.release()));
    };
    add({});  // the offset table
    add(frame.bytes);
    auto pixels = std::make_unique<DcmPixelData>(DcmTag(DCM_PixelData, EVR_OB));
    // Every decoder for a JPEG process decodes every kind of JPEG; the one for process 14 takes all bit depths.
    const E_TransferSyntax syntax = frame.codec == Codec::kJpegLs ? EXS_JPEGLSLossless : EXS_JPEGProcess14;
    pixels->putOriginalRepresentation(syntax, nullptr, sequence.release());
    return pixels;
}

}  // namespace

void decode_jpeg(const CompressedFrame& frame, std::span<std::uint16_t> words) {
    static const ToolkitDecoders decoders;
    DcmDataset object;
    put_header(object, frame);
    const std::unique_ptr<DcmPixelData> pixels = pixel_data_of(frame);
    std::ranges::fill(words, std::uint16_t{0});  // if a decoder leaves out rows, they must not show another image
    Uint32 fragment = 1;
    OFString colour_model;
    must_be_good(pixels->getUncompressedFrame(&object, 0, fragment, words.data(),
                                              static_cast<Uint32>(words.size_bytes()), colour_model));
    if (frame.bits <= 8) widen_bytes(words);
}

}  // namespace Norvane::Host
