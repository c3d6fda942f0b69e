// SPDX-License-Identifier: Apache-2.0
#include "reading/read_dicom.h"

#include "reading/dicom_fields.h"
#include "reading/refusal.h"

#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/oflog/oflog.h>

#include <algorithm>
#include <string>

namespace Norvane::Host {
namespace {

/// The toolkit's decoders, registered for the life of the program; its own messages are switched off, since every
/// refusal is one line of ours.
struct Toolkit {
    Toolkit() {
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        DcmRLEDecoderRegistration::registerCodecs();
        DJDecoderRegistration::registerCodecs();
    }
    ~Toolkit() {
        DJDecoderRegistration::cleanup();
        DcmRLEDecoderRegistration::cleanup();
    }
    Toolkit(const Toolkit&) = delete;
    Toolkit& operator=(const Toolkit&) = delete;
};

// The transfer syntaxes that are read.
constexpr const char* kReadableSyntaxes[] = {
    UID_LittleEndianImplicitTransferSyntax,
    UID_LittleEndianExplicitTransferSyntax,
    UID_DeflatedExplicitVRLittleEndianTransferSyntax,
    UID_BigEndianExplicitTransferSyntax,
    UID_RLELosslessTransferSyntax,
    UID_JPEGProcess14TransferSyntax,
    UID_JPEGProcess14SV1TransferSyntax,
};

// Syntaxes that the toolkit has no name for.
struct SyntaxName {
    const char* uid;
    const char* name;
};
constexpr SyntaxName kNewerSyntaxes[] = {{"1.2.840.10008.1.2.4.201", "HTJ2K lossless"},
                                         {"1.2.840.10008.1.2.4.202", "HTJ2K lossless with progression by resolution"},
                                         {"1.2.840.10008.1.2.4.203", "HTJ2K"}};

std::string name_of_syntax(const std::string& uid) {
    for (const SyntaxName& syntax : kNewerSyntaxes) {
        if (uid == syntax.uid) return std::string(syntax.name) + " (" + uid + ")";
    }
    const DcmXfer known(uid.c_str());
    if (known.getXfer() == EXS_Unknown) return "the unknown transfer syntax " + uid;
    return std::string(known.getXferName()) + " (" + uid + ")";
}

void refuse_unreadable_syntax(const std::string& uid) {
    if (uid.empty()) return;  // a data set without file header: the toolkit has found the encoding by itself
    for (const char* readable : kReadableSyntaxes) {
        if (uid == readable) return;
    }
    throw Refusal("is compressed as " + name_of_syntax(uid) + ", which is not read yet");
}

/// How a sample lies in its word.
struct SampleLayout {
    unsigned allocated;  // 8 or 16 bits
    unsigned stored;     // of which these hold the sample
    unsigned shift;      // and so many lie below it
    bool is_signed;

    /// The sample as an unsigned number: what lies beside it is cut off, and the lowest signed value becomes 0.
    [[nodiscard]] std::uint16_t decode(unsigned word) const {
        const unsigned sample = (word >> shift) & ((1U << stored) - 1U);
        return static_cast<std::uint16_t>(is_signed ? sample ^ (1U << (stored - 1)) : sample);
    }
};

unsigned required(DcmItem& header, const DcmTagKey& tag, const char* name) {
    if (const auto number = number_of(header, tag)) return *number;
    throw Refusal(std::string("has no ") + name);
}

SampleLayout read_layout(DcmItem& header) {
    const unsigned allocated = required(header, DCM_BitsAllocated, "BitsAllocated");
    const unsigned stored = required(header, DCM_BitsStored, "BitsStored");
    const unsigned high_bit = number_of(header, DCM_HighBit).value_or(stored - 1);
    const bool is_signed = number_of(header, DCM_PixelRepresentation).value_or(0) == 1;
    if (allocated != 8 && allocated != 16) {
        throw Refusal("has " + std::to_string(allocated) + " bits allocated; 8 and 16 are read");
    }
    if (stored == 0 || stored > allocated || high_bit + 1 < stored || high_bit >= allocated) {
        throw Refusal("has sizes of samples that do not fit (" + std::to_string(allocated) + " bits allocated, " +
                      std::to_string(stored) + " stored, high bit " + std::to_string(high_bit) + ")");
    }
    return {allocated, stored, high_bit + 1 - stored, is_signed};
}

void refuse_several_frames(DcmItem& header) {
    const std::string frames = text_of(header, DCM_NumberOfFrames);
    if (!frames.empty() && frames != "1") throw Refusal("holds " + frames + " frames; single images are read");
}

template <class Word>
void decode_samples(const Word* words, unsigned long count, const SampleLayout& layout, SourceImage& image) {
    if (words == nullptr || count < image.samples.size()) {
        throw Refusal("is truncated (" + std::to_string(count) + " of " + std::to_string(image.samples.size()) +
                      " samples)");
    }
    std::transform(words, words + image.samples.size(), image.samples.begin(),
                   [&layout](Word word) { return layout.decode(word); });
}

void read_pixels(DcmDataset& header, const SampleLayout& layout, SourceImage& image) {
    if (!header.tagExists(DCM_PixelData)) throw Refusal("holds no image (no PixelData)");
    const OFCondition decoded = header.chooseRepresentation(EXS_LittleEndianExplicit, nullptr);
    if (decoded.bad()) throw Refusal(std::string("has pixel data that cannot be decoded: ") + decoded.text());
    unsigned long count = 0;
    if (layout.allocated == 8) {
        const Uint8* words = nullptr;
        header.findAndGetUint8Array(DCM_PixelData, words, &count);
        decode_samples(words, count, layout, image);
    } else {
        const Uint16* words = nullptr;
        header.findAndGetUint16Array(DCM_PixelData, words, &count);
        decode_samples(words, count, layout, image);
    }
}

// Values that no sample can have are passed over: archives hold them, and nothing in the image is padding then.
std::optional<PaddingRange> padding_of(DcmItem& header, const SampleLayout& layout) {
    long value = 0;
    if (header.findAndGetLongInt(DCM_PixelPaddingValue, value).bad()) return std::nullopt;
    long limit = 0;
    if (header.findAndGetLongInt(DCM_PixelPaddingRangeLimit, limit).bad()) limit = value;
    const long lowest = layout.is_signed ? -(1L << (layout.stored - 1)) : 0;
    const long low = std::min(value, limit) - lowest;
    const long high = std::max(value, limit) - lowest;
    if (low < 0 || high >= 1L << layout.stored) return std::nullopt;
    return PaddingRange{static_cast<std::uint16_t>(low), static_cast<std::uint16_t>(high)};
}

}  // namespace

SourceImage read_dicom(const std::filesystem::path& file) {
    static const Toolkit toolkit;
    // The file header alone first: the toolkit takes a syntax that it does not know for an uncompressed one. A data set
    // without file header has no such field.
    DcmMetaInfo file_header;
    (void)file_header.loadFile(file.c_str());
    refuse_unreadable_syntax(text_of(file_header, DCM_TransferSyntaxUID));

    DcmFileFormat object;
    const OFCondition loaded = object.loadFile(file.c_str());
    if (loaded.bad()) throw Refusal(std::string("is a damaged or truncated DICOM file: ") + loaded.text());
    DcmDataset& header = *object.getDataset();

    SourceImage image;
    image.format = "DICOM";
    refuse_several_frames(header);
    read_dicom_fields(header, image);
    const SampleLayout layout = read_layout(header);
    image.used_bits = layout.stored;
    image.padding = padding_of(header, layout);
    set_size(image, required(header, DCM_Columns, "Columns"), required(header, DCM_Rows, "Rows"));
    read_pixels(header, layout, image);
    return image;
}

}  // namespace Norvane::Host
