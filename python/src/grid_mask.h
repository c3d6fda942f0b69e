// SPDX-License-Identifier: Apache-2.0
/// Masks as Python sees them: values that never change.
#pragma once

#include "export/source_masks.h"
#include "findings/film_area.h"
#include "findings/region.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <vector>

namespace Norvane::Python {

namespace py = pybind11;

/// A mask and the size of its grid.
struct GridMask {
    Host::Region region;
    unsigned width;
    unsigned height;
};
using SharedMask = std::shared_ptr<GridMask>;

/// Rows x columns, like the shape of an array.
struct Shape {
    unsigned height;
    unsigned width;
};

/// The mask that Python passes as an argument. If it is something else, or None, raises TypeError with the name.
[[nodiscard]] const GridMask& mask_of(const py::handle& given, const char* name);

[[nodiscard]] SharedMask make_grid_mask(Host::Region region, unsigned width, unsigned height);

/// The rows of the mask as an array of n x 3 numbers: row, first column, last column.
[[nodiscard]] py::array runs_of(const GridMask& mask);

/// An array of the shape, 1 where `region` has a pixel and 0 elsewhere.
[[nodiscard]] py::array array_of(const Host::Region& region, const Host::GridPlacement& grid, const Shape& shape);

/// Adds the class Mask to the module.
void bind_mask(py::module_& module);

}  // namespace Norvane::Python
