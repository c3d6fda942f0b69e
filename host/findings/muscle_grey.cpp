// SPDX-License-Identifier: Apache-2.0
#include "findings/muscle_grey.h"

#include "findings/grey_rows.h"

namespace Norvane::Host {
namespace {

constexpr float kFourWhites = 4.0F * 65535.0F;

// Column `x` of the halved image that has its chest wall at the left, as the left one of two columns of the image.
unsigned first_column(unsigned x, unsigned image_width, bool is_mirrored) {
    return is_mirrored ? image_width - 2 - 2 * x : 2 * x;
}

}  // namespace

MuscleGrey::MuscleGrey(const Image& prepared, const MaskBitmap& tissue, IMAGE_SIDE side)
    : width(prepared.GetWidth() / 2),
      height(prepared.GetHeight() / 2),
      grey(std::size_t{width} * height),
      is_tissue(grey.size()) {
    const bool is_mirrored = side == SIDE_CHEST_RIGHT;
    const auto sum_at = [](const auto& upper, const auto& lower, unsigned column) {
        return unsigned{upper[column]} + upper[column + 1] + lower[column] + lower[column + 1];
    };
    for (unsigned y = 0; y < height; ++y) {
        const auto upper = grey_row(prepared, 2 * y), lower = grey_row(prepared, 2 * y + 1);
        const std::uint8_t* upper_tissue = &tissue.pixels[std::size_t{2} * y * tissue.width];
        const std::uint8_t* lower_tissue = upper_tissue + tissue.width;
        for (unsigned x = 0; x < width; ++x) {
            const unsigned column = first_column(x, prepared.GetWidth(), is_mirrored);
            grey[std::size_t{y} * width + x] = static_cast<float>(sum_at(upper, lower, column)) / kFourWhites;
            is_tissue[std::size_t{y} * width + x] = sum_at(upper_tissue, lower_tissue, column) > 2 * 255;
        }
    }
}

}  // namespace Norvane::Host
