// SPDX-License-Identifier: Apache-2.0
/// The fields that a segmentation object takes from the header of the mammogram.
#pragma once

#include "io/source_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>

#include <optional>
#include <string>

namespace Norvane::Host {

/// Identifies the object that the masks belong to.
struct SegSource {
    std::string class_uid;
    std::string instance_uid;
    std::string series_uid;
    unsigned frame = 0;  ///< from 1; 0 if the object has only one
};
/// Nothing if identifiers must not be read; then the object refers to no source. Throws Refusal if the header lacks a
/// valid identifier.
[[nodiscard]] std::optional<SegSource> seg_source(const SourceImage& image);

/// Copies patient, study, orientation, compression and date. Fields with invalid values are left out or left empty.
void copy_source_fields(const DicomTexts& header, DcmItem& object);

/// A warning if the header lacks valid values for fields by which archives file an object: the object leaves them
/// empty. Empty if nothing is missing.
[[nodiscard]] std::string filing_warning(const DicomTexts& header);

/// Writes that the fields of patient and study are left out on purpose.
void put_identity_removed(DcmItem& object);

/// Writes class and instance of the source into `item`.
void put_reference(DcmItem& item, const SegSource& source);

/// Writes the same with the series, for the whole object.
void put_source_references(DcmItem& object, const SegSource& source);

/// A number as a DICOM decimal string of at most 16 characters.
[[nodiscard]] std::string decimal_text(double value);

}  // namespace Norvane::Host
