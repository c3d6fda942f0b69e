// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "export/mask_drawing.h"
#include "export/mask_layers.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string_view>

namespace Norvane::Python {

/// The mask with this name; null if there is none.
[[nodiscard]] const Host::MaskLayer* layer_named(std::string_view name);

/// Rows x columns x 3 bytes: red, green, blue.
[[nodiscard]] pybind11::array rgb_of(const Host::Surface& surface);

/// Adds functions that draw masks on any prepared image to the module.
void bind_pictures(pybind11::module_& module);

}  // namespace Norvane::Python
