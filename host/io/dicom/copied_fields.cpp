// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/copied_fields.h"

#include "io/dicom/dicom_header.h"
#include "io/printable.h"

#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcelem.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Norvane::Host {
namespace {

const CopiedField kCopiedFields[] = {
    // the character set comes before the texts that are read by it
    {DCM_SpecificCharacterSet, Copy::kIfValid, "1-n", "ISO_R 0123456789GBK\\"},
    {DCM_TimezoneOffsetFromUTC, Copy::kIfValid},
    // patient
    {DCM_PatientName, Copy::kAlways},
    {DCM_PatientID, Copy::kAlways},
    {DCM_IssuerOfPatientID, Copy::kIfValid},
    {DCM_PatientBirthDate, Copy::kAlways},
    {DCM_PatientSex, Copy::kAlways, "1", "FMO"},
    {DCM_PatientAge, Copy::kIfValid},
    // study
    {DCM_StudyInstanceUID, Copy::kAlways},
    {DCM_StudyDate, Copy::kAlways},
    {DCM_StudyTime, Copy::kAlways},
    {DCM_StudyID, Copy::kAlways},
    {DCM_AccessionNumber, Copy::kAlways},
    {DCM_ReferringPhysicianName, Copy::kAlways},
    {DCM_StudyDescription, Copy::kIfValid},
    // image
    {DCM_PatientOrientation, Copy::kAlways, "2", "LRAPHF\\", true},
    // identity, date, grey levels and compression
    {DCM_SOPClassUID, Copy::kByRule},
    {DCM_SOPInstanceUID, Copy::kByRule},
    {DCM_SeriesInstanceUID, Copy::kByRule},
    {DCM_InstanceNumber, Copy::kByRule},
    {DCM_ContentDate, Copy::kByRule},
    {DCM_ContentTime, Copy::kByRule},
    {DCM_AcquisitionDate, Copy::kByRule},
    {DCM_AcquisitionTime, Copy::kByRule},
    {DCM_SeriesDate, Copy::kByRule},
    {DCM_SeriesTime, Copy::kByRule},
    {DCM_RescaleIntercept, Copy::kByRule, "1", nullptr, true},
    {DCM_RescaleSlope, Copy::kByRule, "1", nullptr, true},
    {DCM_RescaleType, Copy::kByRule, "1", nullptr, true},
    {DCM_WindowCenter, Copy::kByRule, "1-n", nullptr, true},
    {DCM_WindowWidth, Copy::kByRule, "1-n", nullptr, true},
    {DCM_VOILUTFunction, Copy::kByRule, "1", nullptr, true},
    {DCM_LossyImageCompression, Copy::kByRule, "1", nullptr, true},
    {DCM_LossyImageCompressionRatio, Copy::kByRule, "1-n", nullptr, true},
    {DCM_LossyImageCompressionMethod, Copy::kByRule, "1-n", nullptr, true},
};

// The toolkit does not check the length. The limit is in characters, so continuation bytes of UTF-8 are not counted. A
// name may be written in up to three scripts, and the limit holds for each of them.
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

// Letters beyond ASCII need a character set that says what they are. Nearly all bytes are letters of the older sets.
bool is_in_character_set(const std::string& text, const std::string& set) {
    const bool is_ascii = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return is_ascii || (set == "ISO_IR 192" ? printable(text) == text : !set.empty());
}

std::string valid_text(DcmItem& header, const CopiedField& field) {
    DcmElement* element = nullptr;
    if (header.findAndGetElement(field.tag, element).bad() || element->ident() != DcmTag(field.tag).getEVR()) return {};
    OFString text;
    if (element->checkValue(field.multiplicity, OFFalse).bad() || element->getOFStringArray(text).bad()) return {};
    std::string value(text.data(), text.size());
    value.erase(value.find_last_not_of(std::string(" \0", 2)) + 1);
    const bool has_strange_letters =
        field.letters != nullptr && value.find_first_not_of(field.letters) != std::string::npos;
    return has_strange_letters || is_too_long(value, element->ident()) ? std::string() : value;
}

}  // namespace

std::span<const CopiedField> copied_fields() { return kCopiedFields; }

DicomTexts copied_texts(DcmItem& object, Identifiers identifiers) {
    DicomTexts texts;
    for (const CopiedField& field : kCopiedFields) {
        if (identifiers == Identifiers::kNone && !field.is_about_pixels) continue;
        std::string text = valid_text(object, field);
        const bool is_readable = is_in_character_set(text, copied_text(texts, DCM_SpecificCharacterSet));
        if (!text.empty() && is_readable) texts.emplace(field_of(field.tag), std::move(text));
    }
    return texts;
}

std::string copied_text(const DicomTexts& texts, const DcmTagKey& tag) {
    const auto found = texts.find(field_of(tag));
    return found == texts.end() ? std::string() : found->second;
}

}  // namespace Norvane::Host
