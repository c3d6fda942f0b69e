// SPDX-License-Identifier: Apache-2.0
/// The frame mask, and the field of an image as four numbers.
#include <norvane/masking.h>

#include "masking/frame_detector.h"
#include "model/pixels.h"
#include "model/working_image.h"

#include <algorithm>
#include <iostream>

namespace Norvane {
namespace {

constexpr int kNotFound = -1;

/// First and last column, first and last row, all ends in.
struct Bounds {
    int first = kNotFound, last = kNotFound, top = kNotFound, bottom = kNotFound;

    void write_to(int* out) const {
        out[0] = first;
        out[1] = last;
        out[2] = top;
        out[3] = bottom;
    }
};

/// Searches the field of an image whose padding values lie in lo .. hi. Columns are counted from the chest wall, so
/// that both sides share one search. The sides differ in three limits, as the record tells.
class PaddingSearch {
public:
    PaddingSearch(const Image& source, int low, int high, bool from_left)
        : image(source),
          width(static_cast<int>(source.GetWidth())),
          height(static_cast<int>(source.GetHeight())),
          lo(low),
          hi(high),
          chest_left(from_left),
          far_columns(from_left ? 6 : 5),
          wall_limit(from_left ? width / 15 : width / 15 - 1),
          near_half(from_left ? width / 2 : width / 2 - 1) {}

    [[nodiscard]] Bounds search() const {
        Bounds b;  // columns counted from the chest wall
        b.last = far_column();
        find_top_corner(b);
        b.first = std::max(b.first, 0);
        b.top = std::max(b.top, 0);
        b.bottom = std::min(last_row(b), height - 1);
        if (!chest_left) b = {width - 1 - b.last, width - 1 - b.first, b.top, b.bottom};
        return b;
    }

private:
    [[nodiscard]] bool is_padding(int from_wall, int y) const {
        const int x = chest_left ? from_wall : width - 1 - from_wall;
        const int v = grey_row(image, static_cast<unsigned>(y))[static_cast<std::size_t>(x)];
        return lo <= v && v <= hi;
    }

    [[nodiscard]] bool column_has_padding(int from_wall) const {
        for (int y = 0; y < height; ++y)
            if (is_padding(from_wall, y)) return true;
        return false;
    }

    [[nodiscard]] bool row_has_padding(int y, int first, int last) const {
        for (int x = first; x <= last; ++x)
            if (is_padding(x, y)) return true;
        return false;
    }

    /// The outermost of the last few columns that holds padding.
    [[nodiscard]] int far_column() const {
        for (int x = width - 1; x >= std::max(width - far_columns, 0); --x)
            if (column_has_padding(x)) return x;
        return width - 1;
    }

    /// The first pixel of a row that is not padding, or the width.
    [[nodiscard]] int first_content(int y, int from, int to) const {
        for (int x = from; x <= to; ++x)
            if (!is_padding(x, y)) return x;
        return width;
    }

    /// The first row whose content begins at the wall and is followed by padding gives the top and the first column.
    void find_top_corner(Bounds& b) const {
        for (int y = 0; y < height; ++y) {
            const int x = first_content(y, 0, b.last);
            if (x > wall_limit || x >= width || !row_has_padding(y, x + 1, b.last)) continue;
            b.top = y;
            b.first = x;
            return;
        }
    }

    /// The lowest row with padding; from there up, the row below the first one whose content begins in the near half.
    [[nodiscard]] int last_row(const Bounds& b) const {
        int y = height - 1;
        while (y >= b.top && !row_has_padding(y, b.first, b.last)) --y;
        if (y < b.top) return kNotFound;
        for (int r = y; r >= b.top; --r)
            if (first_content(r, b.first, width - 1) <= near_half) return r + 1;
        return y;
    }

    const Image& image;
    int width, height;
    int lo, hi;
    bool chest_left;
    int far_columns;  // looked at for the last column
    int wall_limit;   // the last column at which content counts as beginning at the wall
    int near_half;    // the last column of the half at the wall
};

bool row_is_zero(const Image& image, int y) {
    return std::ranges::all_of(grey_row(image, static_cast<unsigned>(y)), [](unsigned v) { return v == 0; });
}

bool column_is_zero(const Image& image, int x) {
    for (unsigned y = 0; y < image.GetHeight(); ++y)
        if (grey_row(image, y)[static_cast<std::size_t>(x)] != 0) return false;
    return true;
}

/// The first index from `from` on, in steps of `step` and while `is_inside` holds, that is not zero; else `otherwise`.
template <class IsInside, class IsZero>
int first_set(int from, int step, IsInside is_inside, IsZero is_zero, int otherwise) {
    for (int i = from; is_inside(i); i += step)
        if (!is_zero(i)) return i;
    return otherwise;
}

}  // namespace

Masking::MASK_STATUS Masking::GenerateFrameMask(Image* image, Params call_params, Mask*& frame, bool autoLevel) {
    update_params(call_params);
    if (image == nullptr) return MASK_NO_IMAGE;
    if (backgroundNoiseLevel == c_noiseLevel_auto && autoLevel)
        backgroundNoiseLevel = params.noiseLevel = static_cast<unsigned short>(auto_calc_noise_level(image));
    if (params.side == SIDE_UNDEFINED) return MASK_NO_SIDE;
    if (is_off_working_pixel_size(image->GetPixelSize())) return MASK_BAD_PIXEL_SIZE;
    if (!is_usable(image)) return MASK_NO_IMAGE;

    FrameDetector detector(autoLevel);
    int code = MASK_OK;
    try {
        code = detector.Detect(image, frame, params.side, params.view, params.bgNoise, backgroundNoiseLevel);
    } catch (...) {
        if (frame != nullptr) frame->Clear();  // half a frame would pass for a known one in the next call
        throw;
    }
    if (code != MASK_OK) std::cout << "Frame masking fails: " << code << std::endl;
    return MASK_OK;
}

void Masking::framemasking_for_pixel_padding_images(Image* image, int* bounds) {
    Bounds found;
    if (is_usable(image)) {
        const auto [lo, hi] = std::minmax(params.noiseLevel, params.pixelPaddingValueRangeLimit);
        if (params.side == SIDE_CHEST_LEFT || params.side == SIDE_CHEST_RIGHT)
            found = PaddingSearch(*image, lo, hi, params.side == SIDE_CHEST_LEFT).search();
        else
            found = {0, static_cast<int>(image->GetWidth()) - 1, 0, static_cast<int>(image->GetHeight()) - 1};
    }
    found.write_to(bounds);
}

void Masking::framemasking_for_binary_image(Image* image, int* bounds) {
    Bounds found;
    if (is_usable(image)) {
        const auto width = static_cast<int>(image->GetWidth()), height = static_cast<int>(image->GetHeight());
        const double middle_x = width * 0.5, middle_y = height * 0.5;
        const auto row = [&](int y) { return row_is_zero(*image, y); };
        const auto column = [&](int x) { return column_is_zero(*image, x); };
        found.first = first_set(
            0, 1, [&](int x) { return x < middle_x; }, column, 0);
        found.last = first_set(
            width - 1, -1, [&](int x) { return x >= middle_x; }, column, width - 1);
        found.top = first_set(
            0, 1, [&](int y) { return y < middle_y; }, row, 0);
        const int last_set_row = first_set(
            height - 1, -1, [&](int y) { return y >= middle_y; }, row, height - 1);
        found.bottom = std::min(last_set_row + 2, height - 1);  // two rows of background below, where there are
    }
    found.write_to(bounds);
}

}  // namespace Norvane
