// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/transfer_syntax.h"

#include "io/refusal.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcxfer.h>
#include <fmt/format.h>

namespace Norvane::Host {
namespace {

constexpr ElementEncoding kImplicit{false, false};
constexpr ElementEncoding kExplicit{true, false};
constexpr ElementEncoding kBigEndian{true, true};

// Elements around compressed pixels are explicit and little endian.
using Syntax = TransferSyntax;
constexpr TransferSyntax kSyntaxes[] = {
    {"1.2.840.10008.1.2", "implicit little endian", kImplicit, Syntax::kUncompressed},
    {"1.2.840.10008.1.2.1", "explicit little endian", kExplicit, Syntax::kUncompressed},
    {"1.2.840.10008.1.2.1.99", "deflated", kExplicit, Syntax::kDeflated},
    {"1.2.840.10008.1.2.2", "explicit big endian", kBigEndian, Syntax::kUncompressed},
    {"1.2.840.10008.1.2.5", "RLE", kExplicit, Syntax::kRunLengths},
    {"1.2.840.10008.1.2.8.1", "deflated frames", kExplicit, Syntax::kDeflatedFrames},
    {"1.2.840.10008.1.2.4.50", "JPEG baseline", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.51", "JPEG extended", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.53", "progressive JPEG by spectral selection", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.55", "progressive JPEG", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.57", "JPEG lossless", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.70", "JPEG lossless, first-order", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.80", "JPEG-LS lossless", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.81", "JPEG-LS near-lossless", kExplicit, Syntax::kJpeg},
    {"1.2.840.10008.1.2.4.90", "JPEG 2000 lossless", kExplicit, Syntax::kJpeg2000},
    {"1.2.840.10008.1.2.4.91", "JPEG 2000", kExplicit, Syntax::kJpeg2000},
    {"1.2.840.10008.1.2.4.201", "HTJ2K lossless", kExplicit, Syntax::kJpeg2000},
    {"1.2.840.10008.1.2.4.202", "HTJ2K lossless by resolution", kExplicit, Syntax::kJpeg2000},
    {"1.2.840.10008.1.2.4.203", "HTJ2K", kExplicit, Syntax::kJpeg2000},
    {"1.2.840.10008.1.2.4.110", "JPEG XL lossless", kExplicit, Syntax::kJpegXl},
    {"1.2.840.10008.1.2.4.111", "JPEG XL recompressed JPEG", kExplicit, Syntax::kJpegXl},
    {"1.2.840.10008.1.2.4.112", "JPEG XL", kExplicit, Syntax::kJpegXl},
};

}  // namespace

const TransferSyntax& transfer_syntax_of(const std::string& uid) {
    for (const TransferSyntax& syntax : kSyntaxes) {
        if (uid == syntax.uid) return syntax;
    }
    const DcmXfer known(uid.c_str());
    if (known.getXfer() == EXS_Unknown) throw Refusal("has the unknown transfer syntax " + uid);
    throw Refusal(fmt::format("is compressed as {} ({}), which is not read", known.getXferName(), uid));
}

const TransferSyntax& plain_syntax_of(const ElementEncoding& elements) {
    for (const TransferSyntax& syntax : kSyntaxes) {
        if (syntax.pixels == Syntax::kUncompressed && syntax.elements == elements) return syntax;
    }
    throw Refusal("is implicit and big endian, which DICOM does not allow");
}

}  // namespace Norvane::Host
