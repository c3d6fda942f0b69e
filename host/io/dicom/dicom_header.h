// SPDX-License-Identifier: Apache-2.0
/// Access to the fields of a DICOM object for the rules.
#pragma once

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The text of a field without the spaces around it; empty if the field is missing. `index` selects one of several
/// values.
[[nodiscard]] std::string text_of(DcmItem& item, const DcmTagKey& tag, unsigned long index = 0);

/// The tag of a field given as one number: group and element.
[[nodiscard]] inline DcmTagKey tag_of(std::uint32_t field) {
    return {static_cast<Uint16>(field >> 16U), static_cast<Uint16>(field & 0xFFFFU)};
}
[[nodiscard]] inline std::uint32_t field_of(const DcmTagKey& tag) {
    return std::uint32_t{tag.getGroup()} << 16U | tag.getElement();
}

/// The number in a field. Nothing if the field is missing or holds no number.
[[nodiscard]] std::optional<unsigned> number_of(DcmItem& item, const DcmTagKey& tag);

/// Parses a decimal number in DICOM's notation. Nothing if the text is not a finite number.
[[nodiscard]] std::optional<double> decimal_of(const std::string& text);

/// Whether a rule looks into this sequence. Other sequences are not loaded.
[[nodiscard]] bool is_sequence_asked_for(std::uint32_t tag);

/// The header as it applies to one frame. The object's own fields come first, then the functional groups of this frame,
/// then those that all frames share.
class DicomHeader {
public:
    /// `object` must hold the per-frame groups of this frame only. Keeps references into it.
    explicit DicomHeader(DcmItem& object);

    [[nodiscard]] std::string text(const DcmTagKey& tag, unsigned long index = 0) const;
    [[nodiscard]] std::optional<double> decimal(const DcmTagKey& tag) const { return decimal_of(text(tag)); }
    /// The items of a sequence from the first of these places that has it.
    [[nodiscard]] std::vector<DcmItem*> items(const DcmTagKey& sequence) const;
    /// The object without the functional groups.
    [[nodiscard]] DcmItem& object() const { return *places.front().item; }

private:
    struct Place {
        DcmItem* item;
        bool is_deep;  // functional groups keep their fields in sequences of their own
    };
    std::vector<Place> places;
};

}  // namespace Norvane::Host
