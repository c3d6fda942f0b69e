// SPDX-License-Identifier: Apache-2.0
#include "reading/dicom_pixels.h"

#include "decoding/codestream_header.h"
#include "decoding/decode_frame.h"
#include "reading/dicom_fragments.h"
#include "reading/refusal.h"
#include "reading/run_lengths.h"

#include <dcmtk/dcmdata/dctk.h>

#include <algorithm>
#include <span>

namespace Norvane::Host {
namespace {

using Decoder = TransferSyntax::Decoder;

// The toolkit knows no high-throughput JPEG 2000; the data set around it is built as that of JPEG 2000.
constexpr TransferSyntax kSyntaxes[] = {
    {"1.2.840.10008.1.2", "implicit little endian", EXS_LittleEndianImplicit, Decoder::kUncompressed},
    {"1.2.840.10008.1.2.1", "explicit little endian", EXS_LittleEndianExplicit, Decoder::kUncompressed},
    {"1.2.840.10008.1.2.1.99", "deflated", EXS_DeflatedLittleEndianExplicit, Decoder::kUncompressed},
    {"1.2.840.10008.1.2.2", "explicit big endian", EXS_BigEndianExplicit, Decoder::kUncompressed},
    {"1.2.840.10008.1.2.5", "RLE", EXS_RLELossless, Decoder::kRunLengths},
    {"1.2.840.10008.1.2.4.50", "JPEG baseline", EXS_JPEGProcess1, Decoder::kJpeg},
    {"1.2.840.10008.1.2.4.51", "JPEG extended", EXS_JPEGProcess2_4, Decoder::kJpeg},
    {"1.2.840.10008.1.2.4.57", "JPEG lossless", EXS_JPEGProcess14, Decoder::kJpeg},
    {"1.2.840.10008.1.2.4.70", "JPEG lossless, first-order", EXS_JPEGProcess14SV1, Decoder::kJpeg},
    {"1.2.840.10008.1.2.4.80", "JPEG-LS lossless", EXS_JPEGLSLossless, Decoder::kJpeg},
    {"1.2.840.10008.1.2.4.81", "JPEG-LS near-lossless", EXS_JPEGLSLossy, Decoder::kJpeg},
    {"1.2.840.10008.1.2.4.90", "JPEG 2000 lossless", EXS_JPEG2000LosslessOnly, Decoder::kJpeg2000},
    {"1.2.840.10008.1.2.4.91", "JPEG 2000", EXS_JPEG2000, Decoder::kJpeg2000},
    {"1.2.840.10008.1.2.4.201", "HTJ2K lossless", EXS_JPEG2000LosslessOnly, Decoder::kJpeg2000},
    {"1.2.840.10008.1.2.4.202", "HTJ2K lossless by resolution", EXS_JPEG2000LosslessOnly, Decoder::kJpeg2000},
    {"1.2.840.10008.1.2.4.203", "HTJ2K", EXS_JPEG2000, Decoder::kJpeg2000},
};

void refuse_truncated(DcmPixelData& pixels, const SampleLayout& layout, const SourceImage& image) {
    const std::size_t held = std::size_t{pixels.getLength()} / (layout.allocated / 8);
    const std::size_t needed = image.samples.size() * image.frame;
    if (held >= needed) return;
    throw Refusal("is truncated (" + std::to_string(held) + " of " + std::to_string(needed) + " samples)");
}

// The toolkit copies bytes when the samples have 8 bits, words otherwise.
void widen_bytes(std::span<std::uint16_t> words) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(words.data());
    for (std::size_t i = words.size(); i-- > 0;) words[i] = bytes[i];  // backwards: a word never covers a byte to come
}

void take_uncompressed(DcmDataset& object, DcmPixelData& pixels, unsigned bits, SourceImage& image) {
    if (!object.tagExists(DCM_SamplesPerPixel)) object.putAndInsertUint16(DCM_SamplesPerPixel, 1);  // it insists
    Uint32 fragment = 0;
    OFString colour_model;
    const std::size_t room = image.samples.size() * sizeof(std::uint16_t);
    const OFCondition taken = pixels.getUncompressedFrame(&object, image.frame - 1, fragment, image.samples.data(),
                                                          static_cast<Uint32>(room), colour_model);
    if (taken.bad()) throw Refusal(std::string("has pixel data that cannot be decoded: ") + taken.text());
    if (bits <= 8) widen_bytes(image.samples);
}

/// The sample as an unsigned number; the lowest signed value becomes 0. `stray` counts the words that hold more than a
/// sample: they become the largest or the lowest value.
class SampleDecoder {
public:
    explicit SampleDecoder(const SampleLayout& layout)
        : shift(layout.shift),
          mask((1U << layout.stored) - 1),
          sign(layout.is_signed ? 1U << (layout.stored - 1) : 0),
          above((1U << (layout.allocated - layout.shift - layout.stored)) - 1),
          stored(layout.stored),
          has_foreign_bits(layout.has_foreign_bits) {}

    std::uint16_t operator()(unsigned word) {
        const unsigned sample = word >> shift & mask;
        const unsigned rest = word >> shift >> stored & above;
        const bool is_sign_extension = rest == above && (sample & sign) != 0;
        if (rest == 0 || is_sign_extension || has_foreign_bits) return static_cast<std::uint16_t>(sample ^ sign);
        ++stray;
        const bool is_negative = sign != 0 && rest > above / 2;
        return static_cast<std::uint16_t>(is_negative ? 0 : mask);
    }

    std::size_t stray = 0;

private:
    unsigned shift, mask, sign, above, stored;
    bool has_foreign_bits;
};

// A few samples beyond BitsStored are dirt; many mean that the number of bits is wrong and the picture is not there.
void judge_stray(std::size_t stray, unsigned stored, SourceImage& image) {
    constexpr std::size_t kMostStray = 1000;  // one in so many
    if (stray == 0) return;
    const std::string found = std::to_string(stray) + " of " + std::to_string(image.samples.size()) +
                              " samples need more bits than its BitsStored of " + std::to_string(stored);
    if (stray > image.samples.size() / kMostStray) throw Refusal("has a wrong header: " + found);
    image.warnings.push_back(found + "; they count as the largest value");
}

// The words may be the samples' own.
void take_samples(std::span<const std::uint16_t> words, const SampleLayout& layout, SourceImage& image) {
    SampleDecoder decode(layout);
    for (std::size_t i = 0; i < words.size(); ++i) image.samples[i] = decode(words[i]);
    judge_stray(decode.stray, layout.stored, image);
}

DcmPixelData& pixel_data_of(DcmDataset& object) {
    DcmElement* element = nullptr;
    if (object.findAndGetElement(DCM_PixelData, element).good()) {
        if (auto* pixels = dynamic_cast<DcmPixelData*>(element)) return *pixels;
    }
    throw Refusal("holds no image (no PixelData)");
}

}  // namespace

const TransferSyntax& transfer_syntax_of(const std::string& uid) {
    for (const TransferSyntax& syntax : kSyntaxes) {
        if (uid == syntax.uid) return syntax;
    }
    const DcmXfer known(uid.c_str());
    if (known.getXfer() == EXS_Unknown) throw Refusal("has the unknown transfer syntax " + uid);
    throw Refusal(std::string("is compressed as ") + known.getXferName() + " (" + uid + "), which is not read");
}

void read_dicom_pixels(DcmDataset& object, const TransferSyntax& syntax, const SampleLayout& layout,
                       DecodingPlace place, SourceImage& image) {
    DcmPixelData& pixels = pixel_data_of(object);
    if (syntax.decoder == Decoder::kUncompressed) {
        refuse_truncated(pixels, layout, image);
        take_uncompressed(object, pixels, layout.allocated, image);
        take_samples(image.samples, layout, image);
        return;
    }
    const FrameFragments fragments(pixels, image.frame, image.frame_count);
    if (syntax.decoder == Decoder::kRunLengths) {
        decode_run_lengths(fragments.joined(), layout.allocated / 8, image.samples);
        take_samples(image.samples, layout, image);
        return;
    }
    const std::span<const std::uint8_t> bytes = fragments.joined();
    const bool is_jpeg2000 = syntax.decoder == Decoder::kJpeg2000;
    const CodestreamHeader header = is_jpeg2000 ? read_jpeg2000_header(bytes) : read_jpeg_header(bytes);
    refuse_unfit(header, image.width, image.height);
    const Codec codec = is_jpeg2000 ? Codec::kJpeg2000 : header.is_jpeg_ls ? Codec::kJpegLs : Codec::kJpeg;
    SampleLayout in_words = layout;
    in_words.allocated = 16;
    decode_frame({codec, bytes, image.width, image.height, header.bits, place},
                 [&](std::span<const std::uint16_t> words) { take_samples(words, in_words, image); });
}

}  // namespace Norvane::Host
