// SPDX-License-Identifier: Apache-2.0
/// Masks as Python sees them: values that nobody changes.
#pragma once

#include "findings/film_area.h"
#include "findings/image_rows.h"

#include <norvane/mask.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <vector>

namespace Norvane::Python {

namespace py = pybind11;

/// A mask and the size of the grid on which it lies. Reading a Mask may set its target pixel size, so whoever reads one
/// holds the interpreter lock or a copy.
struct GridMask {
    mutable Mask mask;
    unsigned width = 0;
    unsigned height = 0;
};
using SharedMask = std::shared_ptr<GridMask>;

/// Rows x columns, as arrays have them.
struct Shape {
    unsigned height;
    unsigned width;
};

[[nodiscard]] SharedMask make_grid_mask(unsigned width, unsigned height);  ///< an empty one, to be filled
[[nodiscard]] SharedMask make_grid_mask(const Mask& mask, unsigned width, unsigned height);

/// The rows of the mask as an array of n x 3 numbers: row, first column, last column.
[[nodiscard]] py::array runs_of(const GridMask& mask);

/// An array of the shape, 1 where `mask` has a pixel and 0 elsewhere; its pixels are of `pixel_size_um`, and the corner
/// of the mask lies at that of `box`.
[[nodiscard]] py::array array_of(Mask mask, const Host::SourceBox& box, const Shape& shape, double pixel_size_um);

/// Adds the class Mask to the module.
void bind_mask(py::module_& module);

}  // namespace Norvane::Python
