// SPDX-License-Identifier: Apache-2.0
#include "export/label_map.h"

#include "export/deflate_stream.h"
#include "export/program_version.h"
#include "export/source_masks.h"
#include "export/write_png.h"
#include "io/number_text.h"

#include <fmt/core.h>

namespace Norvane::Host {

void append_compressed(std::string& bytes, std::span<std::uint8_t> header, const LabelImage& labels) {
    DeflateStream compressed(bytes, DeflateWrapper::kGzip, DeflatedContent::kRegions);
    compressed.write(header);
    std::vector<std::uint8_t> row(labels.width());
    for (unsigned y = 0; y < labels.height(); ++y) {
        labels.fill_row(y, row);
        compressed.write(row);
    }
    compressed.finish();
}

std::string label_png(const Findings& findings) {
    const LabelImage labels(findings);
    const RowSource<std::uint8_t> rows = [&labels](unsigned y, std::span<std::uint8_t> row) {
        labels.fill_row(y, row);
    };
    return encode_png(labels.width(), labels.height(), DeflatedContent::kRegions, rows);
}

std::string label_nrrd(const Findings& findings) {
    const LabelImage labels(findings);
    const std::string millimetres = number_text(findings.settings.pixel_size_um.value / 1000.0);
    std::string bytes = fmt::format(
        "NRRD0004\n# norvane {0}\ntype: uint8\ndimension: 2\nsizes: {1} {2}\nspacings: {3} {3}\nunits: \"mm\" \"mm\"\n"
        "encoding: gzip\nlabel_0:=background\nlabel_1:=breast\nlabel_2:=pectoral muscle\n\n",
        program_version(), labels.width(), labels.height(), millimetres);
    append_compressed(bytes, {}, labels);
    return bytes;
}

}  // namespace Norvane::Host
