// SPDX-License-Identifier: Apache-2.0
/// A DICOM file up to its pixels: the header fields that the program needs, and the place where the pixels begin.
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

/// Private elements, long values and sequences that no rule needs are skipped without being loaded. A header of
/// gigabytes needs no more memory than a short one.
class DicomFile {
public:
    /// A deflated data set may inflate to as many bytes as the options allow for an image. Throws Refusal.
    DicomFile(const std::filesystem::path& file, const ReadOptions& options);

    [[nodiscard]] const TransferSyntax& syntax() const { return *written_as; }
    /// The header without the pixels. Of the functional groups of each frame, it holds only those of the wanted frame.
    /// The caller may take it.
    [[nodiscard]] std::unique_ptr<DcmDataset>& header() { return object; }
    /// The head of the pixel element, whose value is next in pixel_bytes(). Nothing if the file has no pixels.
    [[nodiscard]] const std::optional<ElementHead>& pixels() const { return pixel_element; }
    [[nodiscard]] ByteSource& pixel_bytes() {
        if (inflated) return *inflated;
        return bytes;
    }
    /// The file itself. Compressed pixels are read from it.
    [[nodiscard]] FileBytes& file() { return bytes; }

private:
    void read_header(unsigned frame);

    FileBytes bytes;
    std::optional<InflatedBytes> inflated;
    const TransferSyntax* written_as;
    std::unique_ptr<DcmDataset> object;
    std::optional<ElementHead> pixel_element;
};

/// Switches the toolkit's messages off. The program reports each refusal itself, in one line.
void silence_dicom_toolkit();

}  // namespace Norvane::Host
