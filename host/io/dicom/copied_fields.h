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
    const char* multiplicity = "1";  ///< number of its values, as DICOM writes it
    const char* letters = nullptr;   ///< of which values are made, if the type allows more than the field; null: any
    bool is_about_pixels = false;    ///< tells nothing about patient, study and series
};
[[nodiscard]] std::span<const CopiedField> copied_fields();

/// What the fields hold, all values of each. A field that is missing, or that breaks the rules of its type, is left
/// out: other programs would refuse an object into which it is copied. Without identifiers, fields about the pixels are
/// all that is left.
[[nodiscard]] DicomTexts copied_texts(DcmItem& object, Identifiers identifiers = Identifiers::kUids);

/// The text of a field; empty if `texts` does not hold it.
[[nodiscard]] std::string copied_text(const DicomTexts& texts, const DcmTagKey& tag);

}  // namespace Norvane::Host
