// SPDX-License-Identifier: Apache-2.0
/// Reads what the header of a DICOM object says about a mammogram.
#pragma once

#include "io/dicom/sample_decoder.h"
#include "io/read_options.h"
#include "io/source_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>

namespace Norvane::Host {

/// Fills in the facts of `image` by the tables of rules in the source file. `image` must already name its frame. Throws
/// Refusal if the image has colours, if its pixels are not square, or if its pixel size is invalid.
void read_dicom_fields(DcmItem& object, const SampleLayout& layout, const ReadOptions& options, SourceImage& image);

}  // namespace Norvane::Host
