// SPDX-License-Identifier: Apache-2.0
/// What the header of a DICOM object says about a mammogram, apart from its pixels.
#pragma once

#include "io/dicom/sample_decoder.h"
#include "io/read_options.h"
#include "io/source_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>

namespace Norvane::Host {

/// Fills in what `image` has fields for, by the tables of rules in the source file; `image` names its frame. Throws
/// Refusal for colour, for pixels that are not square, and for a pixel size that is none.
void read_dicom_fields(DcmItem& object, const SampleLayout& layout, const ReadOptions& options, SourceImage& image);

}  // namespace Norvane::Host
