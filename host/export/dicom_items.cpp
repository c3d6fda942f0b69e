// SPDX-License-Identifier: Apache-2.0
#include "export/dicom_items.h"

#include "export/sha256.h"

#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcelem.h>

#include <algorithm>
#include <stdexcept>

namespace Norvane::Host {
namespace {

void require(const OFCondition& condition, const DcmTagKey& tag) {
    if (condition.bad()) throw std::runtime_error(std::string(DcmTag(tag).getTagName()) + ": " + condition.text());
}

// The toolkit does not look at the length. Bytes that continue a character of UTF-8 are not counted. A name may be
// there in three scripts, each of which counts by itself.
bool is_too_long(const std::string& values, DcmEVR type) {
    constexpr std::size_t kLongestShortString = 16;
    constexpr std::size_t kLongestLongString = 64;
    if (type != EVR_SH && type != EVR_CS && type != EVR_LO && type != EVR_PN) return false;
    std::size_t length = 0;
    std::size_t longest = 0;
    for (const char c : values) {
        const bool is_continued = (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
        const bool is_next_value = c == '\\' || (c == '=' && type == EVR_PN);
        length = is_next_value ? 0 : length + (is_continued ? 0 : 1);
        longest = std::max(longest, length);
    }
    return longest > (type == EVR_LO || type == EVR_PN ? kLongestLongString : kLongestShortString);
}

}  // namespace

void put_text(DcmItem& item, const DcmTagKey& tag, const std::string& text) {
    require(item.putAndInsertOFStringArray(tag, OFString(text.data(), text.size())), tag);
}

void put_number(DcmItem& item, const DcmTagKey& tag, unsigned number) {
    const bool is_long = DcmTag(tag).getEVR() == EVR_UL;
    require(is_long ? item.putAndInsertUint32(tag, number) : item.putAndInsertUint16(tag, static_cast<Uint16>(number)),
            tag);
}

DcmItem& add_item(DcmItem& item, const DcmTagKey& sequence) {
    constexpr long kAppend = -2;
    DcmItem* added = nullptr;
    require(item.findOrCreateSequenceItem(sequence, added, kAppend), sequence);
    return *added;
}

DcmItem& add_code(DcmItem& item, const DcmTagKey& sequence, const DicomCode& code) {
    DcmItem& added = add_item(item, sequence);
    put_text(added, DCM_CodeValue, code.value);
    put_text(added, DCM_CodingSchemeDesignator, code.scheme);
    put_text(added, DCM_CodeMeaning, code.meaning);
    return added;
}

std::string valid_text(DcmItem& header, const DcmTagKey& tag, const char* multiplicity) {
    DcmElement* element = nullptr;
    if (header.findAndGetElement(tag, element).bad() || element->ident() != DcmTag(tag).getEVR()) return {};
    OFString text;
    if (element->checkValue(multiplicity, OFFalse).bad() || element->getOFStringArray(text).bad()) return {};
    std::string value(text.data(), text.size());
    value.erase(value.find_last_not_of(std::string(" \0", 2)) + 1);
    return is_too_long(value, element->ident()) ? std::string() : value;
}

std::string uid_of(const std::string& seed) {
    std::array<std::uint8_t, 32> bytes = sha256(seed);
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x80U);  // a UUID of version 8: by rules of its own
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);
    __extension__ unsigned __int128 number = 0;
    for (std::size_t i = 0; i < 16; ++i) number = number << 8U | bytes[i];
    std::string digits;
    for (; number != 0; number /= 10) digits += static_cast<char>('0' + static_cast<int>(number % 10));
    return "2.25." + std::string(digits.rbegin(), digits.rend());
}

}  // namespace Norvane::Host
