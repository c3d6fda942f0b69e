// SPDX-License-Identifier: Apache-2.0
#include "export/seg_pixels.h"

#include "export/derived_object.h"
#include "export/source_masks.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace Norvane::Host {
namespace {

SourceMask joined_mask(const Findings& findings) { return {findings.masks.joined(), placement_of(findings)}; }

}  // namespace

BitFrames seg_frames(const Findings& findings, SegContent content) {
    if (content == SegContent::kBreastAndMuscle) return label_frames(findings, shows_muscle(findings));
    BitFrames frames(findings.source.width, findings.source.height, 1);
    frames.paint(0, joined_mask(findings), true);
    return frames;
}

std::vector<std::uint8_t> seg_labels(const Findings& findings, SegContent content) {
    const std::size_t width = findings.source.width;
    const std::size_t height = findings.source.height;
    std::vector<std::uint8_t> pixels((width * height + 1) / 2 * 2);
    const auto row = [&](unsigned y) { return std::span(pixels).subspan(y * width, width); };
    if (content == SegContent::kBreastAndMuscle) {
        const LabelImage labels(findings);
        for (unsigned y = 0; y < height; ++y) labels.fill_row(y, row(y));
        return pixels;
    }
    const SourceMask joined = joined_mask(findings);
    for (unsigned y = 0; y < height; ++y) {
        for (const ColumnRun& run : joined.row(y)) {
            std::ranges::fill(row(y).subspan(run.first, run.last - run.first + 1), std::uint8_t{1});
        }
    }
    return pixels;
}

}  // namespace Norvane::Host
