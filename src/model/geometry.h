// SPDX-License-Identifier: Apache-2.0
/// Places on a pixel grid: the one interval, the one rectangle, the side of the chest wall, and lengths.
#pragma once

#include <norvane/masking.h>

#include "model/numbers.h"

#include <algorithm>
#include <cmath>

namespace Norvane {

/// The numbers from `first` to `last`, both included; empty if `first` is above `last`. For columns, rows, bins and
/// grey levels.
template <class T>
struct Interval {
    T first;
    T last;

    [[nodiscard]] constexpr bool is_empty() const { return first > last; }
    [[nodiscard]] constexpr bool has(T v) const { return first <= v && v <= last; }
    /// How many numbers these are. The interval must not be empty.
    [[nodiscard]] constexpr T count() const { return last - first + 1; }
    [[nodiscard]] constexpr Interval cut_to(const Interval& other) const {
        return {std::max(first, other.first), std::min(last, other.last)};
    }
};

/// Columns and rows.
template <class T>
struct Rectangle {
    Interval<T> columns;
    Interval<T> rows;

    [[nodiscard]] constexpr bool is_empty() const { return columns.is_empty() || rows.is_empty(); }
    [[nodiscard]] constexpr bool has(T x, T y) const { return columns.has(x) && rows.has(y); }
};

/// Sizes and places as signed numbers, which may be subtracted. What a host chose beyond their range wraps.
[[nodiscard]] inline int width_of(const Image& image) { return static_cast<int>(image.GetWidth()); }
[[nodiscard]] inline int height_of(const Image& image) { return static_cast<int>(image.GetHeight()); }
[[nodiscard]] inline Interval<int> columns_of(const Image& image) { return {0, width_of(image) - 1}; }
[[nodiscard]] inline Interval<int> rows_of(const Image& image) { return {0, height_of(image) - 1}; }
[[nodiscard]] inline Rectangle<int> whole_of(const Image& image) { return {columns_of(image), rows_of(image)}; }
[[nodiscard]] inline Interval<int> columns_of(const Mask& mask) {
    return {static_cast<int>(mask.GetMinX()), static_cast<int>(mask.GetMaxX())};
}
[[nodiscard]] inline Interval<int> rows_of(const Mask& mask) {
    return {static_cast<int>(mask.GetMinY()), static_cast<int>(mask.GetMaxY())};
}

/// The step from column to column away from the chest wall: +1 if the wall is on the left, -1 if it is on the right.
/// Hosts may pass other values, which name no wall and give 0.
[[nodiscard]] constexpr int outward_from(IMAGE_SIDE side) {
    return side == SIDE_CHEST_LEFT ? 1 : (side == SIDE_CHEST_RIGHT ? -1 : 0);
}
[[nodiscard]] constexpr bool has_wall(IMAGE_SIDE side) { return outward_from(side) != 0; }

/// The end of an interval of columns at the wall, and the end far from it.
template <class T>
[[nodiscard]] constexpr T wall_end(const Interval<T>& columns, int outward) {
    return outward > 0 ? columns.first : columns.last;
}
template <class T>
[[nodiscard]] constexpr T far_end(const Interval<T>& columns, int outward) {
    return outward > 0 ? columns.last : columns.first;
}

/// A length on the breast.
struct Micrometres {
    double value;
};

/// A length in pixels, rounded half up. 0 if the pixel size is 0 or not a number.
[[nodiscard]] inline int pixels_for(Micrometres length, float pixel_size) {
    if (pixel_size == 0.0F || std::isnan(pixel_size)) return 0;
    return truncate_to<int>(length.value / double{pixel_size} + 0.5);
}

}  // namespace Norvane
