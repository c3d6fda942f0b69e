// SPDX-License-Identifier: Apache-2.0
/// The extension norvane._norvane. Its contents are documented where Python shows them: in norvane/*.py and *.pyi.
#include "analysis_binding.h"
#include "arguments.h"
#include "batch_run.h"
#include "export/program_version.h"
#include "findings/noise_choice.h"
#include "findings/status_text.h"
#include "grid_mask.h"
#include "io/printable.h"
#include "pictures.h"
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

pybind11::dict noise_names() {
    pybind11::dict names;
    for (const auto& [name, noise] : Norvane::Host::kNoiseNames) names[name] = static_cast<int>(noise);
    return names;
}

}  // namespace

PYBIND11_MODULE(_norvane, module) {
    pybind11::options options;
    options.disable_function_signatures();  // they are in the stubs
    module.attr("version") = Norvane::Host::program_version();
    module.attr("status_texts") = status_texts();
    module.attr("noise_names") = noise_names();
    module.def("printable", [](const pybind11::str& text) {
        return pybind11::str(Norvane::Host::printable(Norvane::Python::name_of_file(text)));
    });
    Norvane::Python::bind_mask(module);
    Norvane::Python::bind_working_image(module);
    Norvane::Python::bind_mask_operations(module);
    Norvane::Python::bind_pictures(module);
    Norvane::Python::bind_analysis(module);
    Norvane::Python::bind_batch_run(module);
}
