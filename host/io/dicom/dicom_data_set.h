// SPDX-License-Identifier: Apache-2.0
/// A DICOM file up to its pixels: what of its header the program asks for, and where the pixels begin.
#pragma once

#include "io/byte_source.h"
#include "io/dicom/dicom_elements.h"
#include "io/dicom/transfer_syntax.h"
#include "io/inflated_bytes.h"
#include "io/read_options.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>

#include <filesystem>
#include <memory>
#include <optional>

namespace Norvane::Host {

/// Private elements, long values and sequences that nobody asks for are passed over without being loaded, whatever
/// their size: a header of gigabytes costs the memory of a short one.
class DicomFile {
public:
    /// A deflated data set may inflate to as many bytes as the options allow an image. Throws Refusal.
    DicomFile(const std::filesystem::path& file, const ReadOptions& options);

    [[nodiscard]] const TransferSyntax& syntax() const { return *written_as; }
    /// The header, which the caller may take. It has no pixels, and of what it says of each frame that of the wanted
    /// one.
    [[nodiscard]] std::unique_ptr<DcmDataset>& header() { return object; }
    /// The element of the pixels, whose value is next in pixel_bytes(); nothing if there are none.
    [[nodiscard]] const std::optional<ElementHead>& pixels() const { return pixel_element; }
    [[nodiscard]] ByteSource& pixel_bytes() {
        if (inflated) return *inflated;
        return bytes;
    }
    /// The file itself, where compressed pixels are.
    [[nodiscard]] FileBytes& file() { return bytes; }

private:
    void read_header(unsigned frame);

    FileBytes bytes;
    std::optional<InflatedBytes> inflated;
    const TransferSyntax* written_as;
    std::unique_ptr<DcmDataset> object;
    std::optional<ElementHead> pixel_element;
};

/// The toolkit prints nothing from now on: each refusal is one line of the program's own.
void silence_dicom_toolkit();

}  // namespace Norvane::Host
