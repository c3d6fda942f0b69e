// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pybind11/pybind11.h>

namespace Norvane::Python {

/// Adds the class Run to the module. It does runs of the program one image at a time.
void bind_batch_run(pybind11::module_& module);

}  // namespace Norvane::Python
