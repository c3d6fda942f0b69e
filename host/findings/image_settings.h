// SPDX-License-Identifier: Apache-2.0
/// What is used for one image, and where each of it came from: the command line before the file, the file before a
/// guess.
#pragma once

#include "findings/analysis_options.h"
#include "findings/film_area.h"
#include "io/source_image.h"

#include <string>
#include <vector>

namespace Norvane::Host {

struct ImageSettings {
    Sourced<IMAGE_SIDE> side{SIDE_UNDEFINED, {}};
    Sourced<IMAGE_VIEW> view{VIEW_UNDEFINED, {}};
    Sourced<BG_NOISE> noise{BG_AUTO_COARSE, {}};
    Sourced<double> pixel_size_um{0.0, {}};
    Sourced<SourceBox> crop;
    bool is_inverted = false;
};

/// What is known before the image is prepared: view, pixel size, and the noise class unless it is to be chosen, when it
/// comes from nowhere. The options are carried into `source`. Throws Refusal.
[[nodiscard]] ImageSettings settle_before_preparation(const AnalysisOptions& options, SourceImage& source);

/// The side. A header that puts the chest wall at a border that is clearly the darker one is not believed: archives
/// flip images and leave the header as it was. Adds to `warnings` what contradicts. Throws Refusal.
[[nodiscard]] Sourced<IMAGE_SIDE> settle_side(const AnalysisOptions& options, const SourceImage& source,
                                              const Image& prepared, std::vector<std::string>& warnings);

}  // namespace Norvane::Host
