// SPDX-License-Identifier: Apache-2.0
/// The fields of a DICOM object, as the rules about them ask.
#pragma once

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The text of a field without the spaces around it; empty when the field is missing. `index` picks one of several
/// values.
[[nodiscard]] std::string text_of(DcmItem& item, const DcmTagKey& tag, unsigned long index = 0);

/// A field by its group and element.
[[nodiscard]] inline DcmTagKey tag_of(std::uint32_t field) {
    return {static_cast<Uint16>(field >> 16U), static_cast<Uint16>(field & 0xFFFFU)};
}
[[nodiscard]] inline std::uint32_t field_of(const DcmTagKey& tag) {
    return std::uint32_t{tag.getGroup()} << 16U | tag.getElement();
}

/// The number in a field; nothing when it is missing or no number.
[[nodiscard]] std::optional<unsigned> number_of(DcmItem& item, const DcmTagKey& tag);

/// A decimal number as DICOM writes it; nothing when the text is none, or not finite.
[[nodiscard]] std::optional<double> decimal_of(const std::string& text);

/// Whether rules about the header look into all items of this sequence. Other sequences are not loaded.
[[nodiscard]] bool is_sequence_asked_for(std::uint32_t tag);

/// The header as it counts for one frame: the object's own fields come first, then what the functional groups say
/// about this frame, then what they say about all.
class DicomHeader {
public:
    /// Of the groups of each frame, `object` has those of this frame alone. Keeps references into it.
    explicit DicomHeader(DcmItem& object);

    [[nodiscard]] std::string text(const DcmTagKey& tag, unsigned long index = 0) const;
    [[nodiscard]] std::optional<double> decimal(const DcmTagKey& tag) const { return decimal_of(text(tag)); }
    /// The items of a sequence, in the first place that has it.
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
