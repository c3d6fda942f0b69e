// SPDX-License-Identifier: Apache-2.0
/// A mammogram as its file holds it: what the readers deliver.
#pragma once

#include <norvane/masking.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

/// Grey values of the file that mean "no image here", both ends in.
struct PaddingRange {
    std::uint16_t low;
    std::uint16_t high;
};

/// Which breast it is; not where the chest wall lies, since archives store images flipped.
enum class Laterality { kLeft, kRight };

struct SourceImage {
    std::string format;  ///< for reports, such as "PNG"
    unsigned width = 0;
    unsigned height = 0;
    unsigned used_bits = 16;             ///< samples lie in 0 .. 2^used_bits - 1
    std::vector<std::uint16_t> samples;  ///< row by row; samples that the file stores signed are moved up to start at 0
    bool needs_inversion = false;        ///< tissue is dark

    // What the file says about the exposure, if it does.
    std::optional<PaddingRange> padding;  ///< on the scale of `samples`
    std::optional<IMAGE_VIEW> view;
    std::optional<Laterality> laterality;
    std::optional<double> pixel_size_um;
    std::string pixel_size_from;  ///< the field that gave the pixel size
};

/// Sets the size and makes room for the samples. Refuses sizes of 0 and sizes beyond what the library can hold.
void set_size(SourceImage& image, unsigned width, unsigned height);

}  // namespace Norvane::Host
