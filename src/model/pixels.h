// SPDX-License-Identifier: Apache-2.0
/// Rows of an Image: where they lie in the buffer, and the rows as spans. Algorithms index pixels by column and need no
/// strides. The rows of a const image are const.
#pragma once

#include <norvane/image.h>

#include "model/geometry.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace Norvane {

/// Bytes of a sample; 1 for 1-bit images, whose samples share a byte.
[[nodiscard]] inline std::size_t bytes_per_sample(const Image& image) { return (std::size_t{image.GetBits()} + 7) / 8; }

/// Bytes from row to row.
[[nodiscard]] inline std::size_t row_pitch(const Image& image) {
    const std::size_t stride = image.GetStride();
    return image.GetBits() == 1 ? (stride + 7) / 8 : stride * bytes_per_sample(image);
}

template <class T>
concept AnyImage = std::same_as<std::remove_const_t<T>, Image>;

/// The samples of a row of `I`; const if the image is.
template <class Sample, AnyImage I>
using SampleOf = std::conditional_t<std::is_const_v<I>, const Sample, Sample>;

/// The samples of a row, by column. A column may be of any integral type; it must be in the row.
template <class T>
class Row : public std::span<T> {
public:
    using std::span<T>::span;
    constexpr Row(std::span<T> samples) : std::span<T>(samples) {}
    [[nodiscard]] constexpr T& operator[](std::integral auto column) const {
        return this->data()[static_cast<std::size_t>(column)];
    }
};

/// Row `y` with the padding columns, as the platform sees it. The image must have a buffer and samples of this type.
template <class Sample, AnyImage I>
[[nodiscard]] inline Row<SampleOf<Sample, I>> whole_row_of(I& image, std::integral auto y) {
    auto* first = reinterpret_cast<SampleOf<Sample, I>*>(image.GetBuffer());
    return {first + static_cast<std::size_t>(y) * image.GetStride(), image.GetStride()};
}

/// The same without the padding columns.
template <class Sample, AnyImage I>
[[nodiscard]] inline Row<SampleOf<Sample, I>> row_of(I& image, std::integral auto y) {
    auto* first = reinterpret_cast<SampleOf<Sample, I>*>(image.GetBuffer());
    return {first + static_cast<std::size_t>(y) * image.GetStride(), image.GetWidth()};
}

/// Row `y` of a 16-bit grey image, to read.
[[nodiscard]] inline Row<const std::uint16_t> grey_row(const Image& image, std::integral auto y) {
    return row_of<std::uint16_t>(image, y);
}

/// Row `y` of a 16-bit grey image, to write.
[[nodiscard]] inline Row<std::uint16_t> grey_row_to_write(Image& image, std::integral auto y) {
    return row_of<std::uint16_t>(image, y);
}

/// The given columns of a row, which must have them; none if the interval is empty.
template <class T, class Column>
[[nodiscard]] inline std::span<T> part_of(std::span<T> row, const Interval<Column>& columns) {
    if (columns.is_empty()) return {};
    return row.subspan(static_cast<std::size_t>(columns.first), static_cast<std::size_t>(columns.count()));
}

}  // namespace Norvane
