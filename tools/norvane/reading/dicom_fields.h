// SPDX-License-Identifier: Apache-2.0
/// What the header of a DICOM object says about a mammogram, apart from its pixels.
#pragma once

#include "reading/source_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>

#include <optional>
#include <string>

namespace Norvane::Host {

/// The text of a field without the spaces around it; empty when the field is missing. `index` picks one of several
/// values.
[[nodiscard]] std::string text_of(DcmItem& item, const DcmTagKey& tag, unsigned long index = 0);

/// The number in a field; nothing when it is missing or no number.
[[nodiscard]] std::optional<unsigned> number_of(DcmItem& item, const DcmTagKey& tag);

/// Fills in view, laterality, pixel size and inversion. Throws Refusal for colour and for pixels that are not square.
void read_dicom_fields(DcmItem& header, SourceImage& image);

}  // namespace Norvane::Host
