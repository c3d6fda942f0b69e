// SPDX-License-Identifier: Apache-2.0
#include "field/padding_bounds.h"

#include "model/pixels.h"
#include "model/working_image.h"

#include <algorithm>

namespace Norvane {
namespace {

/// Finds the field of an image by its padding values. Columns are counted from the chest wall, so that both sides share
/// one search. The sides differ only in three limits, which are members.
class PaddingSearch {
public:
    PaddingSearch(const Image& image, const Interval<int>& padding, bool chest_left)
        : image_(image),
          width_(width_of(image)),
          height_(height_of(image)),
          padding_(padding),
          chest_left_(chest_left),
          far_columns_(chest_left ? 6 : 5),
          wall_limit_(chest_left ? width_ / 15 : width_ / 15 - 1),
          near_half_(chest_left ? width_ / 2 : width_ / 2 - 1) {}

    [[nodiscard]] Bounds search() const {
        Bounds b = kNotFound;  // columns counted from the chest wall
        b.columns.last = far_column();
        find_top_corner(b);
        b.columns.first = std::max(b.columns.first, 0);
        b.rows.first = std::max(b.rows.first, 0);
        b.rows.last = std::min(last_row(b), height_ - 1);
        if (!chest_left_) b.columns = {width_ - 1 - b.columns.last, width_ - 1 - b.columns.first};
        return b;
    }

private:
    [[nodiscard]] bool is_padding(int from_wall, int y) const {
        const int x = chest_left_ ? from_wall : width_ - 1 - from_wall;
        return padding_.has(grey_row(image_, y)[x]);
    }

    [[nodiscard]] bool column_has_padding(int from_wall) const {
        for (int y = 0; y < height_; ++y)
            if (is_padding(from_wall, y)) return true;
        return false;
    }

    [[nodiscard]] bool row_has_padding(int y, int first, int last) const {
        for (int x = first; x <= last; ++x)
            if (is_padding(x, y)) return true;
        return false;
    }

    /// The outermost column with padding among the last few columns.
    [[nodiscard]] int far_column() const {
        for (int x = width_ - 1; x >= std::max(width_ - far_columns_, 0); --x)
            if (column_has_padding(x)) return x;
        return width_ - 1;
    }

    /// The first pixel of a row that is not padding, or the width.
    [[nodiscard]] int first_content(int y, int from, int to) const {
        for (int x = from; x <= to; ++x)
            if (!is_padding(x, y)) return x;
        return width_;
    }

    /// Top and first column come from the first row whose content begins at the wall and is followed by padding.
    void find_top_corner(Bounds& b) const {
        for (int y = 0; y < height_; ++y) {
            const int x = first_content(y, 0, b.columns.last);
            if (x > wall_limit_ || x >= width_ || !row_has_padding(y, x + 1, b.columns.last)) continue;
            b.rows.first = y;
            b.columns.first = x;
            return;
        }
    }

    /// Starts at the lowest row with padding and goes up to the first row whose content begins in the near half. The
    /// result is the row below that one.
    [[nodiscard]] int last_row(const Bounds& b) const {
        int y = height_ - 1;
        while (y >= b.rows.first && !row_has_padding(y, b.columns.first, b.columns.last)) --y;
        if (y < b.rows.first) return -1;
        for (int r = y; r >= b.rows.first; --r)
            if (first_content(r, b.columns.first, width_ - 1) <= near_half_) return r + 1;
        return y;
    }

    const Image& image_;
    int width_, height_;
    Interval<int> padding_;
    bool chest_left_;
    int far_columns_;  // so many columns are searched for the last column
    int wall_limit_;   // the last column at which content counts as beginning at the wall
    int near_half_;    // the last column of the half at the wall
};

bool row_is_zero(const Image& image, int y) {
    return std::ranges::all_of(grey_row(image, y), [](unsigned v) { return v == 0; });
}

bool column_is_zero(const Image& image, int x) {
    for (unsigned y = 0; y < image.GetHeight(); ++y)
        if (grey_row(image, y)[x] != 0) return false;
    return true;
}

/// The first index that is not zero, from `from` on in steps of `step`, while `is_inside` holds; otherwise `otherwise`.
template <class IsInside, class IsZero>
int first_set(int from, int step, IsInside is_inside, IsZero is_zero, int otherwise) {
    for (int i = from; is_inside(i); i += step)
        if (!is_zero(i)) return i;
    return otherwise;
}

}  // namespace

Bounds padding_bounds(const Image* image, IMAGE_SIDE side, const Interval<int>& padding) {
    if (!is_usable(image)) return kNotFound;
    if (has_wall(side)) return PaddingSearch(*image, padding, side == SIDE_CHEST_LEFT).search();
    return whole_of(*image);
}

Bounds content_bounds(const Image* image) {
    if (!is_usable(image)) return kNotFound;
    const int width = width_of(*image), height = height_of(*image);
    const double middle_x = width * 0.5, middle_y = height * 0.5;
    const auto row = [&](int y) { return row_is_zero(*image, y); };
    const auto column = [&](int x) { return column_is_zero(*image, x); };
    const int left = first_set(
        0, 1, [&](int x) { return x < middle_x; }, column, 0);
    const int right = first_set(
        width - 1, -1, [&](int x) { return x >= middle_x; }, column, width - 1);
    const int top = first_set(
        0, 1, [&](int y) { return y < middle_y; }, row, 0);
    const int bottom = first_set(
        height - 1, -1, [&](int y) { return y >= middle_y; }, row, height - 1);
    return {{left, right}, {top, std::min(bottom + 2, height - 1)}};
}

}  // namespace Norvane
