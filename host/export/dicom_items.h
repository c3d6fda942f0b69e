// SPDX-License-Identifier: Apache-2.0
/// Fields of DICOM objects that are written.
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

/// Throw std::runtime_error with the name of the field where the toolkit does not take the value.
void put_text(DcmItem& item, const DcmTagKey& tag, const std::string& text);
void put_number(DcmItem& item, const DcmTagKey& tag, unsigned number);
DcmItem& add_item(DcmItem& item, const DcmTagKey& sequence);
DcmItem& add_code(DcmItem& item, const DcmTagKey& sequence, const DicomCode& code);

/// A unique identifier that follows from `seed` alone, so that a second run makes the same object.
[[nodiscard]] std::string uid_of(const std::string& seed);

}  // namespace Norvane::Host
