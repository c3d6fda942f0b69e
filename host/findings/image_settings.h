// SPDX-License-Identifier: Apache-2.0
/// The settings for one image and where each came from. The command line comes first, then the file, then the pixels.
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
    SegForm seg;
};

/// Settles what is known before preparation: view, pixel size and noise class. If the noise class has to be chosen from
/// the pixels, its `from` is empty. Options about the samples are written into `source`. Adds to `warnings` if the view
/// contradicts the header or is a special one. Throws Refusal.
[[nodiscard]] ImageSettings settle_before_preparation(const AnalysisOptions& options, SourceImage& source,
                                                      std::vector<std::string>& warnings);

/// Settles the side. If the header puts the chest wall at the border that is clearly darker, the header is ignored,
/// because archives flip images and leave the header as it was. Adds contradictions to `warnings`. Throws Refusal.
[[nodiscard]] Sourced<IMAGE_SIDE> settle_side(const AnalysisOptions& options, const SourceImage& source,
                                              const Image& prepared, std::vector<std::string>& warnings);

}  // namespace Norvane::Host
