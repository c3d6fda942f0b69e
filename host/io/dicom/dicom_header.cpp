// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_header.h"

#include <dcmtk/dcmdata/dctk.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

namespace Norvane::Host {
namespace {

// Some machines pad with zeros, although DICOM requires spaces. Other control characters are replaced, because messages
// quote values and their lines would break.
std::string without_padding(const OFString& value) {
    constexpr std::string_view kPadding(" \0", 2);
    std::string text(value.c_str(), value.size());
    text.erase(text.find_last_not_of(kPadding) + 1);
    text.erase(0, text.find_first_not_of(kPadding));
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text;
}

}  // namespace

std::string text_of(DcmItem& item, const DcmTagKey& tag, unsigned long index) {
    OFString value;
    return item.findAndGetOFString(tag, value, index).good() ? without_padding(value) : std::string();
}

std::optional<unsigned> number_of(DcmItem& item, const DcmTagKey& tag) {
    Uint16 value = 0;  // a failing call sets it to 0 too
    if (item.findAndGetUint16(tag, value).bad()) return std::nullopt;
    return value;
}

std::optional<double> decimal_of(const std::string& text) {
    double value = 0.0;
    const char* first = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* last = text.data() + text.size();
    const auto parsed = std::from_chars(first, last, value);
    if (parsed.ec != std::errc() || parsed.ptr != last || !std::isfinite(value)) return std::nullopt;
    return value;
}

bool is_sequence_asked_for(std::uint32_t tag) {
    static const DcmTagKey kSequences[] = {
        DCM_ViewCodeSequence,    DCM_ViewModifierCodeSequence,       DCM_AnatomicRegionSequence,
        DCM_ModalityLUTSequence, DCM_SharedFunctionalGroupsSequence, DCM_PerFrameFunctionalGroupsSequence};
    return std::ranges::any_of(kSequences, [tag](const DcmTagKey& known) { return tag == field_of(known); });
}

DicomHeader::DicomHeader(DcmItem& object) : places{{&object, false}} {
    for (const DcmTagKey& groups : {DCM_PerFrameFunctionalGroupsSequence, DCM_SharedFunctionalGroupsSequence}) {
        DcmItem* group = nullptr;
        if (object.findAndGetSequenceItem(groups, group, 0).good()) places.push_back({group, true});
    }
}

std::string DicomHeader::text(const DcmTagKey& tag, unsigned long index) const {
    for (const Place& place : places) {
        OFString value;
        if (place.item->findAndGetOFString(tag, value, index, place.is_deep ? OFTrue : OFFalse).bad()) continue;
        if (std::string text = without_padding(value); !text.empty()) return text;
    }
    return {};
}

std::vector<DcmItem*> DicomHeader::items(const DcmTagKey& sequence) const {
    std::vector<DcmItem*> found;
    for (const Place& place : places) {
        DcmSequenceOfItems* items = nullptr;
        if (place.item->findAndGetSequence(sequence, items, place.is_deep ? OFTrue : OFFalse).bad()) continue;
        for (DcmObject* item = items->nextInContainer(nullptr); item != nullptr; item = items->nextInContainer(item)) {
            found.push_back(static_cast<DcmItem*>(item));
        }
        if (!found.empty()) break;
    }
    return found;
}

}  // namespace Norvane::Host
