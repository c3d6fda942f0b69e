// SPDX-License-Identifier: Apache-2.0
/// The grey levels in which the search looks for the border of the pectoral muscle.
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
    /// `tissue` has the size of the image.
    MuscleGrey(const Image& prepared, const MaskBitmap& tissue, IMAGE_SIDE side);

    [[nodiscard]] MuscleSample at(GridPoint point) const;

private:
    unsigned width, height;
    std::vector<float> grey;
    std::vector<std::uint8_t> is_tissue;
};

inline MuscleSample MuscleGrey::at(GridPoint point) const {
    const double x = point.x / 2.0 - 0.5;
    const double y = point.y / 2.0 - 0.5;
    if (x < 0.0 || y < 0.0) return {MusclePlace::kBeyondImage, 0.0F};
    if (x >= width - 1.0 || y >= height - 1.0) return {};
    const auto column = static_cast<std::size_t>(x);
    const auto row = static_cast<std::size_t>(y);
    const std::size_t first = row * width + column;
    if (!is_tissue[first] || !is_tissue[first + 1] || !is_tissue[first + width] || !is_tissue[first + width + 1]) {
        return {};
    }
    const auto right = static_cast<float>(x - static_cast<double>(column));
    const auto down = static_cast<float>(y - static_cast<double>(row));
    const float upper = grey[first] * (1.0F - right) + grey[first + 1] * right;
    const float lower = grey[first + width] * (1.0F - right) + grey[first + width + 1] * right;
    return {MusclePlace::kTissue, upper * (1.0F - down) + lower * down};
}

}  // namespace Norvane::Host
