// SPDX-License-Identifier: Apache-2.0
/// Writes fields of DICOM objects.
#pragma once

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>

#include <string>

namespace Norvane::Host {

struct DicomCode {
    const char* value;
    const char* scheme;
    const char* meaning;
};

/// If the toolkit does not accept the value, these throw std::runtime_error with the name of the field.
void put_text(DcmItem& item, const DcmTagKey& tag, const std::string& text);
void put_number(DcmItem& item, const DcmTagKey& tag, unsigned number);
/// The text of a field; empty if the item does not have it.
[[nodiscard]] std::string text_in(DcmItem& item, const DcmTagKey& tag);
DcmItem& add_item(DcmItem& item, const DcmTagKey& sequence);
DcmItem& add_code(DcmItem& item, const DcmTagKey& sequence, const DicomCode& code);

/// A unique identifier that depends only on `seed`, so that a second run makes the same object.
[[nodiscard]] std::string uid_of(const std::string& seed);

}  // namespace Norvane::Host
