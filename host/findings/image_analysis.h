// SPDX-License-Identifier: Apache-2.0
/// One image from its samples to its masks.
#pragma once

#include "findings/analysis_options.h"
#include "findings/film_area.h"
#include "findings/host_image.h"
#include "findings/image_settings.h"
#include "findings/masks_run.h"
#include "findings/noise_trials.h"
#include "io/source_image.h"

#include <string>
#include <vector>

namespace Norvane::Host {

/// Everything that the results are made of.
struct ImageAnalysis {
    SourceImage source;      ///< as the file holds it
    SourceBox crop;          ///< the part that was prepared; the whole source unless a film area was cut out
    ImageSettings settings;  ///< what was used, and where it came from
    PreparedImage prepared;  ///< of the crop
    MasksResult masks;       ///< on the grid of `prepared`, whose pixel (0, 0) lies at the crop's corner
    std::vector<NoiseTrial> noise_trials;  ///< the classes that were compared; empty where none was
    double outline_contrast = 0.0;         ///< mean log grey step across the skin line; 0 without a skin line
    std::vector<std::string> warnings;     ///< what the user should look at, a sentence each
};

/// Settles what is to be used, prepares the image and makes its masks. Throws Refusal where that cannot be done.
[[nodiscard]] ImageAnalysis analyse(SourceImage source, const AnalysisOptions& options);

}  // namespace Norvane::Host
