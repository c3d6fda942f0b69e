// SPDX-License-Identifier: Apache-2.0
/// Reads the samples of a DICOM object in any of its encodings.
#pragma once

#include "io/dicom/dicom_data_set.h"
#include "io/dicom/sample_decoder.h"
#include "io/read_options.h"
#include "io/source_image.h"

namespace Norvane::Host {

/// Decodes the frame that `image` names into its samples and sets its size to `width` x `height` pixels. Throws
/// Refusal.
void read_dicom_pixels(DicomFile& file, const SampleLayout& layout, unsigned width, unsigned height,
                       const ReadOptions& options, SourceImage& image);

}  // namespace Norvane::Host
