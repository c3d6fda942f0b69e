// SPDX-License-Identifier: Apache-2.0
#include "reading/read_dicom.h"

#include "reading/dicom_fields.h"
#include "reading/dicom_header.h"
#include "reading/dicom_pixels.h"
#include "reading/refusal.h"

#include <dcmtk/dcmdata/dcistrmf.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/oflog/oflog.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Norvane::Host {
namespace {

// Values longer than this stay in the file until they are asked for: only the wanted frame is read.
constexpr Uint32 kLongestValueReadAtOnce = 4096;

void refuse_if_bad(const OFCondition& condition) {
    if (condition.bad()) throw Refusal(std::string("is a damaged or truncated DICOM file: ") + condition.text());
}

// Every refusal is one line of ours; the toolkit is to write none.
void silence_toolkit() {
    static const bool is_silent = [] {
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        return true;
    }();
    (void)is_silent;
}

/// The toolkit calls itself for every sequence inside a sequence, without an end, and so a file of a few hundred
/// kilobytes can use up the stack. This stream seems to end where the calls have gone too deep.
class ShallowFileStream : public DcmInputFileStream {
public:
    explicit ShallowFileStream(const std::filesystem::path& file) : DcmInputFileStream(file.c_str()) {}

    offile_off_t avail() override {
        constexpr std::ptrdiff_t kMostStackBytes = std::ptrdiff_t{1} << 20;  // about a thousand sequences deep
        is_too_deep |= start - stack_position() > kMostStackBytes;
        return is_too_deep ? 0 : DcmInputFileStream::avail();
    }
    void refuse_if_bad(const OFCondition& condition) const {
        if (is_too_deep) throw Refusal("holds sequences inside sequences without an end");
        Host::refuse_if_bad(condition);
    }

private:
    static std::intptr_t stack_position() { return reinterpret_cast<std::intptr_t>(__builtin_frame_address(0)); }

    std::intptr_t start = stack_position();
    bool is_too_deep = false;
};

/// Step by step instead of by DcmFileFormat, which takes a syntax that it does not know for an uncompressed one.
const TransferSyntax& load(const std::filesystem::path& file, DcmDataset& object) {
    ShallowFileStream stream(file);
    stream.refuse_if_bad(stream.status());
    DcmMetaInfo file_header;
    file_header.transferInit();
    stream.refuse_if_bad(file_header.read(stream, EXS_Unknown, EGL_noChange, kLongestValueReadAtOnce));
    file_header.transferEnd();
    // A data set without file header shows by itself how it is written, and it is not compressed.
    const std::string uid = text_of(file_header, DCM_TransferSyntaxUID);
    const TransferSyntax* syntax = uid.empty() ? nullptr : &transfer_syntax_of(uid);
    object.transferInit();
    stream.refuse_if_bad(
        object.read(stream, syntax == nullptr ? EXS_Unknown : syntax->data_set, EGL_noChange, kLongestValueReadAtOnce));
    object.transferEnd();
    return syntax == nullptr ? transfer_syntax_of(DcmXfer(object.getOriginalXfer()).getXferID()) : *syntax;
}

unsigned required(DcmItem& object, const DcmTagKey& tag, const char* name) {
    if (const auto number = number_of(object, tag)) return *number;
    throw Refusal(std::string("has no ") + name);
}

// Old objects keep overlays in the bits that the samples leave free.
bool has_overlay_in_pixels(DcmItem& object) {
    constexpr Uint16 kFirstGroup = 0x6000;
    constexpr Uint16 kLastGroup = 0x601E;
    for (Uint16 group = kFirstGroup; group <= kLastGroup; group = static_cast<Uint16>(group + 2)) {
        const bool has_position = object.tagExists(DcmTagKey(group, DCM_OverlayBitPosition.getElement()));
        if (has_position && !object.tagExists(DcmTagKey(group, DCM_OverlayData.getElement()))) return true;
    }
    return false;
}

SampleLayout layout_of(DcmItem& object) {
    const unsigned allocated = required(object, DCM_BitsAllocated, "BitsAllocated");
    const unsigned stored = required(object, DCM_BitsStored, "BitsStored");
    const unsigned high_bit = number_of(object, DCM_HighBit).value_or(stored - 1);
    const bool is_signed = number_of(object, DCM_PixelRepresentation).value_or(0) == 1;
    if (allocated != 8 && allocated != 16) {
        throw Refusal("has " + std::to_string(allocated) + " bits allocated; 8 and 16 are read");
    }
    if (stored == 0 || stored > allocated || high_bit + 1 < stored || high_bit >= allocated) {
        throw Refusal("has sizes of samples that do not fit (" + std::to_string(allocated) + " bits allocated, " +
                      std::to_string(stored) + " stored, high bit " + std::to_string(high_bit) + ")");
    }
    return {allocated, stored, high_bit + 1 - stored, is_signed, has_overlay_in_pixels(object)};
}

unsigned frame_count_of(DcmItem& object) {
    const std::string text = text_of(object, DCM_NumberOfFrames);
    if (text.empty()) return 1;
    unsigned count = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), count);
    if (parsed.ptr != text.data() + text.size() || parsed.ec != std::errc() || count == 0) {
        throw Refusal("has the NumberOfFrames '" + text + "', which is not a count");
    }
    return count;
}

// What is kept has no pixels and does not look into the file any more.
void keep_header(std::unique_ptr<DcmDataset> object, SourceImage& image) {
    object->findAndDeleteElement(DCM_PixelData);
    refuse_if_bad(object->loadAllDataIntoMemory());
    image.dicom_header = std::move(object);
}

}  // namespace

void load_dicom_dictionary() {
    silence_toolkit();
    (void)dcmDataDict.rdlock();
    dcmDataDict.rdunlock();
}

SourceImage read_dicom(const std::filesystem::path& file, const ReadOptions& options) {
    silence_toolkit();
    auto object = std::make_unique<DcmDataset>();
    const TransferSyntax& syntax = load(file, *object);
    if (!object->tagExists(DCM_PixelData)) throw NotAnImage("holds no image (no PixelData)");

    SourceImage image;
    image.format = "DICOM";
    image.encoding = std::string(syntax.name) + " (" + syntax.uid + ")";
    set_frame(image, frame_count_of(*object), options);
    const SampleLayout layout = layout_of(*object);
    image.used_bits = layout.stored;
    read_dicom_fields(*object, layout, options, image);
    set_size(image, required(*object, DCM_Columns, "Columns"), required(*object, DCM_Rows, "Rows"));
    read_dicom_pixels(*object, syntax, layout, options.decoding, image);
    keep_header(std::move(object), image);
    return image;
}

}  // namespace Norvane::Host
