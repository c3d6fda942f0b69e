// SPDX-License-Identifier: Apache-2.0
#include "export/dicom_items.h"

#include "export/sha256.h"

#include <dcmtk/dcmdata/dcdeftag.h>

#include <algorithm>
#include <stdexcept>

namespace Norvane::Host {
namespace {

void require(const OFCondition& condition, const DcmTagKey& tag) {
    if (condition.bad()) throw std::runtime_error(std::string(DcmTag(tag).getTagName()) + ": " + condition.text());
}

}  // namespace

void put_text(DcmItem& item, const DcmTagKey& tag, const std::string& text) {
    require(item.putAndInsertOFStringArray(tag, OFString(text.data(), text.size())), tag);
}

std::string text_in(DcmItem& item, const DcmTagKey& tag) {
    OFString text;
    (void)item.findAndGetOFStringArray(tag, text);
    return {text.data(), text.size()};
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

std::string uid_of(const std::string& seed) {
    std::array<std::uint8_t, 32> bytes = sha256(seed);
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x80U);  // a UUID of version 8: the program's own rule
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);
    __extension__ unsigned __int128 number = 0;
    for (std::size_t i = 0; i < 16; ++i) number = number << 8U | bytes[i];
    std::string digits;
    for (; number != 0; number /= 10) digits += static_cast<char>('0' + static_cast<int>(number % 10));
    return "2.25." + std::string(digits.rbegin(), digits.rend());
}

}  // namespace Norvane::Host
