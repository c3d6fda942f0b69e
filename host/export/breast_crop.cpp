// SPDX-License-Identifier: Apache-2.0
#include "export/breast_crop.h"

#include "export/source_masks.h"
#include "export/write_png.h"

#include <vector>

namespace Norvane::Host {

std::string breast_crop_png(const Findings& findings) {
    const LabelImage labels(findings);
    const SourceBox box = labels.labelled_box();
    const SourceImage& source = findings.source;
    const unsigned inversion = source.needs_inversion ? (1U << source.used_bits) - 1U : 0U;
    std::vector<std::uint8_t> label_row(source.width);
    const RowSource<std::uint16_t> rows = [&](unsigned y, std::span<std::uint16_t> row) {
        labels.fill_row(box.y + y, label_row);
        const std::uint16_t* samples = &source.samples[std::size_t{box.y + y} * source.width + box.x];
        for (std::size_t x = 0; x < row.size(); ++x) {
            const unsigned sample = samples[x] ^ inversion;
            row[x] = label_row[box.x + x] == kLabelNothing ? std::uint16_t{0} : static_cast<std::uint16_t>(sample);
        }
    };
    return encode_png(box.width, box.height, DeflatedContent::kNoise, rows);
}

}  // namespace Norvane::Host
