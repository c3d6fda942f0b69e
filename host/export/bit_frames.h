// SPDX-License-Identifier: Apache-2.0
/// Frames with one bit per pixel, packed as DICOM requires.
#pragma once

#include "export/source_masks.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Norvane::Host {

/// Pixels, rows and frames follow each other without gaps. The first pixel is the lowest bit of the first byte. The
/// number of bytes is even.
class BitFrames {
public:
    BitFrames(unsigned columns, unsigned rows, unsigned count);

    /// Switches the pixels of `mask` in frame `frame` on or off.
    void paint(unsigned frame, const SourceMask& mask, bool is_on);

    [[nodiscard]] const std::vector<std::uint8_t>& bytes() const { return packed; }

private:
    void fill(std::size_t first, std::size_t end, bool is_on);

    std::size_t width;
    std::size_t height;
    std::vector<std::uint8_t> packed;
};

/// A frame of the breast without the muscle and, if `has_muscle`, one of the muscle, at the size of the source.
[[nodiscard]] BitFrames label_frames(const Findings& findings, bool has_muscle);

}  // namespace Norvane::Host
