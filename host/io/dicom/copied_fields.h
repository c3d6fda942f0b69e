// SPDX-License-Identifier: Apache-2.0
/// The header fields that a DICOM object made from a mammogram repeats.
#pragma once

#include "io/header.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dctagkey.h>

#include <span>
#include <string>

namespace Norvane::Host {

/// When a repeated field is written.
enum class Copy {
    kAlways,   ///< always, because the field is mandatory; empty if the source has no valid value
    kIfValid,  ///< only if the source has a valid value
    kByRule,   ///< the writer decides by its own rule
};

struct CopiedField {
    DcmTagKey tag;
    Copy copy;
    const char* multiplicity = "1";  ///< number of values in DICOM's notation
    const char* letters = nullptr;   ///< characters that the field allows, if its type allows more; null: no limit
    bool is_about_pixels = false;    ///< it says nothing about patient, study and series
};
[[nodiscard]] std::span<const CopiedField> copied_fields();

/// The values of these fields. If a field is missing or breaks the rules of its type, it is left out, because other
/// programs would refuse an object that repeats it. Without identifiers, only the fields about the pixels are left.
[[nodiscard]] DicomTexts copied_texts(DcmItem& object, Identifiers identifiers = Identifiers::kUids);

/// The text of a field; empty if `texts` does not hold it.
[[nodiscard]] std::string copied_text(const DicomTexts& texts, const DcmTagKey& tag);

}  // namespace Norvane::Host
