// SPDX-License-Identifier: Apache-2.0
/// What a segmentation object takes from the header of the mammogram.
#pragma once

#include "io/source_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>

#include <optional>
#include <string>

namespace Norvane::Host {

/// The object that the masks belong to.
struct SegSource {
    std::string class_uid;
    std::string instance_uid;
    std::string series_uid;
    unsigned frame = 0;  ///< from 1; 0 where the object has no more than one
};
/// Nothing if the identifiers are not to be read: the object refers to no source then. Throws Refusal if the header
/// does not say who the source is.
[[nodiscard]] std::optional<SegSource> seg_source(const SourceImage& image);

/// Patient, study, orientation, compression and date. Fields with values that break the rules are left out or empty.
void copy_source_fields(const DicomTexts& header, DcmItem& object);

/// A sentence about fields by which archives file an object and that have no valid value in the header: the object
/// leaves them empty. An empty text where all are there.
[[nodiscard]] std::string filing_warning(const DicomTexts& header);

/// Says that the fields of patient and study are left out on purpose.
void put_identity_removed(DcmItem& object);

/// Class and instance of the source, as a field group of `item`.
void put_reference(DcmItem& item, const SegSource& source);

/// The same with the series, for the whole object.
void put_source_references(DcmItem& object, const SegSource& source);

/// A number as a decimal string of DICOM, at most 16 characters.
[[nodiscard]] std::string decimal_text(double value);

}  // namespace Norvane::Host
