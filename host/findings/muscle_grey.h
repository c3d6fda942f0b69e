// SPDX-License-Identifier: Apache-2.0
/// The grey levels in which the border of the pectoral muscle is sought.
#pragma once

#include "findings/region.h"

#include <norvane/image.h>
#include <norvane/masking.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Norvane::Host {

/// A point in pixels of the working grid, of an image whose chest wall lies at column 0.
struct GridPoint {
    double x, y;
};

/// What lies at a point.
enum class MusclePlace : std::uint8_t {
    kBeyondSkin,   ///< neither breast nor muscle
    kTissue,       ///< tissue, so that there is a grey level
    kBeyondImage,  ///< above the first row, or left of the chest wall
};

struct MuscleSample {
    MusclePlace place = MusclePlace::kBeyondSkin;
    float grey = 0.0F;  ///< 0 to 1
};

/// The image at half the resolution, with its chest wall at the left and a mark on tissue. Means of four pixels hold
/// what the search needs and take a quarter of its time.
class MuscleGrey {
public:
    MuscleGrey(const Image& prepared, const Region& breast, const Region& muscle, IMAGE_SIDE side);

    [[nodiscard]] MuscleSample at(GridPoint point) const;

private:
    unsigned width, height;
    std::vector<float> grey;
    std::vector<std::uint8_t> is_tissue;
};

}  // namespace Norvane::Host
