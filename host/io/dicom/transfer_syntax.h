// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "io/dicom/dicom_elements.h"

#include <string>

namespace Norvane::Host {

/// An encoding of DICOM objects.
struct TransferSyntax {
    const char* uid;
    const char* name;
    ElementEncoding elements;
    enum Pixels { kUncompressed, kDeflated, kRunLengths, kDeflatedFrames, kJpeg, kJpeg2000, kJpegXl } pixels;

    /// False if each frame is compressed by itself and lies in fragments.
    [[nodiscard]] bool has_plain_pixels() const { return pixels == kUncompressed || pixels == kDeflated; }
    /// Whether workers decode its frames.
    [[nodiscard]] bool has_decoder() const { return pixels == kJpeg || pixels == kJpeg2000 || pixels == kJpegXl; }
};

/// The syntax with this UID. Throws Refusal if the program does not read it.
[[nodiscard]] const TransferSyntax& transfer_syntax_of(const std::string& uid);

/// The uncompressed syntax whose elements have this encoding.
[[nodiscard]] const TransferSyntax& plain_syntax_of(const ElementEncoding& elements);

}  // namespace Norvane::Host
