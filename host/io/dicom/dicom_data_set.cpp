// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_data_set.h"

#include "io/dicom/dicom_header.h"
#include "io/refusal.h"

#include <dcmtk/dcmdata/dcistrmb.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/oflog/oflog.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace Norvane::Host {
namespace {

constexpr std::uint32_t kTransferSyntaxUid = 0x00020010;
constexpr std::uint32_t kPixelData = 0x7FE00010;
constexpr std::uint32_t kFrames = 0x52009230;      // PerFrameFunctionalGroupsSequence: an item per frame
constexpr std::uint32_t kLongestValue = 1U << 12;  // bytes; no value that a rule needs is longer
// Ordinary headers have a tenth of this. If the elements are in the wrong order, the toolkit takes a second for as
// many.
constexpr std::size_t kMostHeaderBytes = std::size_t{256} << 10;
constexpr std::size_t kTagAndType = 6;  // bytes

/// The toolkit recurses into nested sequences without a limit, so a hostile header could use up the stack. This stream
/// pretends to end if the recursion has gone too deep.
class ShallowStream : public DcmInputBufferStream {
public:
    offile_off_t avail() override {
        constexpr std::ptrdiff_t kMostStackBytes = std::ptrdiff_t{1} << 20;  // about a thousand sequences deep
        is_too_deep |= start - stack_position() > kMostStackBytes;
        return is_too_deep ? 0 : DcmInputBufferStream::avail();
    }
    void refuse_if_bad(const OFCondition& condition) const {
        if (is_too_deep) throw Refusal("holds sequences that are nested too deeply");
        if (condition.bad()) throw Refusal(std::string("is a damaged or truncated DICOM file: ") + condition.text());
    }

private:
    static std::intptr_t stack_position() { return reinterpret_cast<std::intptr_t>(__builtin_frame_address(0)); }

    std::intptr_t start = stack_position();
    bool is_too_deep = false;
};

E_TransferSyntax toolkit_syntax_of(const ElementEncoding& encoding) {
    if (encoding.is_big_endian) return EXS_BigEndianExplicit;
    return encoding.names_types ? EXS_LittleEndianExplicit : EXS_LittleEndianImplicit;
}

std::unique_ptr<DcmDataset> parse(const std::vector<std::uint8_t>& elements, const ElementEncoding& encoding) {
    auto object = std::make_unique<DcmDataset>();
    if (elements.empty()) return object;
    ShallowStream stream;
    stream.setBuffer(elements.data(), static_cast<offile_off_t>(elements.size()));
    stream.setEos();
    object->transferInit();
    stream.refuse_if_bad(object->read(stream, toolkit_syntax_of(encoding), EGL_noChange));
    object->transferEnd();
    return object;
}

std::span<const std::uint8_t> start_of_element(FileBytes& file) {
    const auto start = file.peek(kTagAndType);
    if (start.size() < kTagAndType) refuse_truncated_dicom();
    return start;
}

std::string text_value(ElementReader& elements, const ElementHead& head) {
    constexpr std::size_t kLongestUid = 64;
    if (head.length > kLongestUid) throw Refusal("names a transfer syntax of more than 64 characters");
    ElementCopy value(kLongestUid);
    elements.copy_value(head, value);
    std::string text(value.bytes().begin(), value.bytes().end());
    text.erase(text.find_last_not_of(std::string_view(" \0", 2)) + 1);
    return text;
}

/// Reads the file header and returns the transfer syntax that it names. The data set is next in `file` afterwards.
const TransferSyntax& read_file_header(FileBytes& file) {
    constexpr std::size_t kPreamble = 128;
    constexpr std::string_view kMark = "DICM";
    const auto first = file.peek(kPreamble + kMark.size());
    const bool has_mark = first.size() == kPreamble + kMark.size() && std::ranges::equal(first.last(4), kMark);
    if (has_mark) (void)file.skip(first.size());

    std::string uid;
    ElementReader elements(file, encoding_of_start(start_of_element(file)));
    while (start_of_element(file)[0] == 2 && start_of_element(file)[1] == 0) {
        const auto head = elements.next();
        if (head->tag() == kTransferSyntaxUid) {
            uid = text_value(elements, *head);
        } else {
            elements.skip_value(*head);
        }
    }
    // Without a file header, the first bytes of the data set show its encoding, and it is not compressed.
    return uid.empty() ? plain_syntax_of(encoding_of_start(start_of_element(file))) : transfer_syntax_of(uid);
}

/// What is kept of an element. Of an element with a value too long to be of use, the head is kept, so that the rules
/// still see that the element exists.
enum class Kept { kNothing, kHead, kItemOfFrame, kAll };

Kept kept_of(const ElementHead& head) {
    const bool is_public = head.group % 2 == 0 && head.group >= 8 && head.group != ElementHead::kDelimiterGroup;
    const bool is_group_length = head.number == 0;
    if (!is_public || is_group_length) return Kept::kNothing;
    if (head.tag() == kFrames) return head.length_bytes() == 4 ? Kept::kItemOfFrame : Kept::kNothing;
    if (is_sequence_asked_for(head.tag())) return Kept::kAll;
    if (head.is_endless() || head.has_type("SQ")) return Kept::kNothing;
    return head.length > kLongestValue ? Kept::kHead : Kept::kAll;
}

void add_head(const ElementHead& head, std::uint8_t length_byte, ElementCopy& copy) {
    std::vector<std::uint8_t> bytes(head.as_written().begin(), head.as_written().end());
    std::fill_n(bytes.rbegin(), head.length_bytes(), length_byte);
    copy.add(bytes);
}

}  // namespace

DicomFile::DicomFile(const std::filesystem::path& file, const ReadOptions& options)
    : bytes(file), written_as(&read_file_header(bytes)) {
    if (written_as->pixels == TransferSyntax::kDeflated) inflated.emplace(bytes, options.image_memory);
    read_header(options.frame.value_or(1));
}

void DicomFile::read_header(unsigned frame) {
    ElementReader elements(pixel_bytes(), written_as->elements);
    ElementCopy copy(kMostHeaderBytes);
    while (const auto head = elements.next()) {
        if (head->tag() == kPixelData) {
            pixel_element = head;
            break;
        }
        switch (kept_of(*head)) {
            case Kept::kNothing:
                elements.skip_value(*head);
                break;
            case Kept::kHead:
                add_head(*head, 0, copy);
                elements.skip_value(*head);
                break;
            case Kept::kItemOfFrame:
                add_head(*head, 0xFF, copy);  // undefined length
                elements.copy_item(*head, frame - 1, copy);
                break;
            case Kept::kAll:
                copy.add(head->as_written());
                elements.copy_value(*head, copy);
                break;
        }
    }
    object = parse(copy.bytes(), written_as->elements);
}

void silence_dicom_toolkit() {
    static const bool is_silent = [] {
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        return true;
    }();
    (void)is_silent;
}

}  // namespace Norvane::Host
