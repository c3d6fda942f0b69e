// SPDX-License-Identifier: Apache-2.0
#include "findings/muscle_grey.h"

#include "findings/grey_rows.h"

#include <cmath>

namespace Norvane::Host {
namespace {

constexpr float kFourWhites = 4.0F * 65535.0F;

// Column `x` of the halved image that has its chest wall at the left, as the left one of two columns of the image.
unsigned first_column(unsigned x, unsigned image_width, bool is_mirrored) {
    return is_mirrored ? image_width - 2 - 2 * x : 2 * x;
}

}  // namespace

MuscleGrey::MuscleGrey(const Image& prepared, const Region& breast, const Region& muscle, IMAGE_SIDE side)
    : width(prepared.GetWidth() / 2),
      height(prepared.GetHeight() / 2),
      grey(std::size_t{width} * height),
      is_tissue(grey.size()) {
    const bool is_mirrored = side == SIDE_CHEST_RIGHT;
    const unsigned image_width = prepared.GetWidth();
    const MaskBitmap breast_pixels = breast.bitmap(image_width, prepared.GetHeight());
    const MaskBitmap muscle_pixels = muscle.bitmap(image_width, prepared.GetHeight());
    for (unsigned y = 0; y < height; ++y) {
        const auto upper = grey_row(prepared, 2 * y);
        const auto lower = grey_row(prepared, 2 * y + 1);
        for (unsigned x = 0; x < width; ++x) {
            const unsigned column = first_column(x, image_width, is_mirrored);
            const unsigned sum = unsigned{upper[column]} + upper[column + 1] + lower[column] + lower[column + 1];
            unsigned tissue = 0;
            for (unsigned k = 0; k < 4; ++k) {
                const unsigned at_x = column + k % 2, at_y = 2 * y + k / 2;
                tissue += breast_pixels.at(at_x, at_y) || muscle_pixels.at(at_x, at_y) ? 1 : 0;
            }
            grey[std::size_t{y} * width + x] = static_cast<float>(sum) / kFourWhites;
            is_tissue[std::size_t{y} * width + x] = tissue > 2;
        }
    }
}

MuscleSample MuscleGrey::at(GridPoint point) const {
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
