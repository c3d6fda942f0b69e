// SPDX-License-Identifier: Apache-2.0
/// One image from its samples to its masks.
#pragma once

#include "findings/analysis_options.h"
#include "findings/doubt.h"
#include "findings/film_area.h"
#include "findings/host_image.h"
#include "findings/image_settings.h"
#include "findings/library_masks.h"
#include "findings/noise_trials.h"
#include "io/source_image.h"

#include <string>
#include <vector>

namespace Norvane::Host {

/// Everything that was found in one image. The code that makes results from it only reads it, on any thread.
struct Findings {
    std::string file;                      ///< the name of the input, for reports
    SourceImage source;                    ///< the image as the file holds it
    ImageSettings settings;                ///< the values that were used, and where they came from
    PreparedImage prepared;                ///< the crop, prepared
    FoundMasks masks;                      ///< on the grid of `prepared`, whose pixel (0, 0) lies at the crop's corner
    std::vector<NoiseTrial> noise_trials;  ///< the classes that were compared; empty if none were
    double outline_contrast = 0.0;         ///< mean log grey step across the skin line; 0 without a skin line
    Doubt doubt;                           ///< how far to trust the masks
    std::vector<std::string> warnings;     ///< what the user should look at, one sentence each

    [[nodiscard]] const Image& working_image() const { return *prepared.image; }
    /// The part of the source that was prepared; the whole source unless a film area was cut out.
    [[nodiscard]] const SourceBox& crop() const { return settings.crop.value; }
};

/// Settles the settings, prepares the image and makes its masks. Throws Refusal if that is not possible.
[[nodiscard]] Findings analyse(SourceImage source, const AnalysisOptions& options, std::string file = {});

}  // namespace Norvane::Host
