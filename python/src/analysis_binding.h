// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pybind11/pybind11.h>

namespace Norvane::Python {

/// Adds the classes Source and Analysis, read() and analyse() to the module.
void bind_analysis(pybind11::module_& module);

}  // namespace Norvane::Python
