// SPDX-License-Identifier: Apache-2.0
#include "run/masks_run.h"
#include "verbs/verb.h"

namespace Norvane::Host {

Verb masks_verb() {
    return {"masks",
            "Find frame, breast, pectoral muscle and full mask of mammograms",
            {"FILE", "DICOM, TIFF, PNG or PGM file with grey pixels, or a folder; images are recognised by content",
             false, true},
            facts_of(run_option_table()),
            [](const std::vector<std::string>& inputs, const GivenOptions& given) -> Task {
                return [options = run_options_of(inputs, given)](std::ostream& out, std::ostream& err) {
                    return run_masks(options, out, err);
                };
            }};
}

}  // namespace Norvane::Host
