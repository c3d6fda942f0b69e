// SPDX-License-Identifier: Apache-2.0
/// The samples of a DICOM object, whatever they are encoded in.
#pragma once

#include "decoding/decode_frame.h"
#include "reading/source_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include <string>

namespace Norvane::Host {

/// An encoding of DICOM objects.
struct TransferSyntax {
    const char* uid;
    const char* name;
    E_TransferSyntax data_set;  ///< by which the toolkit is to take the data set apart
    enum Decoder { kUncompressed, kRunLengths, kJpeg, kJpeg2000 } decoder;
};

/// The syntax of this UID. Throws Refusal for those that are not read.
[[nodiscard]] const TransferSyntax& transfer_syntax_of(const std::string& uid);

/// How a sample lies in its word.
struct SampleLayout {
    unsigned allocated;     ///< 8 or 16 bits
    unsigned stored;        ///< of which these hold the sample
    unsigned shift;         ///< and so many lie below it
    bool is_signed;         ///< two's complement
    bool has_foreign_bits;  ///< what lies above the sample is something else, such as an overlay
};

/// Decodes the frame that `image` names into its samples, whose size is set. Throws Refusal.
void read_dicom_pixels(DcmDataset& object, const TransferSyntax& syntax, const SampleLayout& layout,
                       DecodingPlace place, SourceImage& image);

}  // namespace Norvane::Host
