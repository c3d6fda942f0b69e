// SPDX-License-Identifier: Apache-2.0
/// The extension norvane._norvane. What it holds is documented where Python shows it: in norvane/*.py and *.pyi.
#include "analysis/status_text.h"
#include "grid_mask.h"
#include "results/program_version.h"
#include "working_image.h"

#include <pybind11/pybind11.h>

namespace {

pybind11::dict status_texts() {
    pybind11::dict texts;
    for (const auto& text : Norvane::Host::kStatusTexts) {
        texts[text.name] = pybind11::make_tuple(static_cast<int>(text.status), text.sentence);
    }
    return texts;
}

}  // namespace

PYBIND11_MODULE(_norvane, module) {
    module.attr("version") = Norvane::Host::program_version();
    module.attr("status_texts") = status_texts();
    Norvane::Python::bind_mask(module);
    Norvane::Python::bind_working_image(module);
    Norvane::Python::bind_mask_operations(module);
}
