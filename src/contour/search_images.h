// SPDX-License-Identifier: Apache-2.0
/// The pair of images that a contour search reads: the prepared one, and the one to which its thresholds apply.
#pragma once

#include <norvane/image.h>

#include "model/pixels.h"
#include "model/working_image.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane {

/// Both images have the same size. The thresholded one is read with the row length of the prepared one.
class SearchImages {
public:
    SearchImages(const Image& prepared, const Image& thresholded) : grey_(prepared), searched_(thresholded) {}

    [[nodiscard]] static bool fit(const Image* prepared, const Image* thresholded) {
        return is_usable(prepared) && is_usable(thresholded) && prepared->GetWidth() == thresholded->GetWidth() &&
               prepared->GetHeight() == thresholded->GetHeight() && prepared->GetStride() <= thresholded->GetStride();
    }

    [[nodiscard]] int width() const { return width_of(grey_); }
    [[nodiscard]] int height() const { return height_of(grey_); }

    [[nodiscard]] Row<const std::uint16_t> grey_at(std::integral auto row) const { return grey_row(grey_, row); }
    [[nodiscard]] Row<const std::uint16_t> searched_at(std::integral auto row) const {
        const auto* first = reinterpret_cast<const std::uint16_t*>(searched_.GetBuffer());
        return {first + static_cast<std::size_t>(row) * grey_.GetStride(), grey_.GetWidth()};
    }

private:
    const Image& grey_;
    const Image& searched_;
};

}  // namespace Norvane
