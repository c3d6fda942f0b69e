// SPDX-License-Identifier: Apache-2.0
/// The prepared image as Python sees it: a value that never changes.
#pragma once

#include "findings/host_image.h"

#include <norvane/image.h>
#include <norvane/masking.h>

#include <pybind11/pybind11.h>

#include <memory>

namespace Norvane::Python {

namespace py = pybind11;

struct WorkingImage {
    Host::PreparedImage prepared;
    BG_NOISE noise = BG_AUTO;  ///< the noise class that it was prepared for

    /// An image for one call of the library. It shares the pixels, and no operation writes to them.
    [[nodiscard]] Image for_a_call() const { return {*prepared.image}; }
};

/// Adds the class WorkingImage and prepare() to the module.
void bind_working_image(py::module_& module);

/// Adds the mask operations of the library to the module.
void bind_mask_operations(py::module_& module);

}  // namespace Norvane::Python
