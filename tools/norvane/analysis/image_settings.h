// SPDX-License-Identifier: Apache-2.0
/// What is used for one image, and where each of it came from: the command line before the file, the file before a
/// guess.
#pragma once

#include "analysis/analysis_options.h"
#include "reading/source_image.h"

#include <string>

namespace Norvane::Host {

struct ImageSettings {
    IMAGE_SIDE side = SIDE_UNDEFINED;
    IMAGE_VIEW view = VIEW_UNDEFINED;
    BG_NOISE noise = BG_AUTO_COARSE;
    double pixel_size_um = 0.0;
    bool is_inverted = false;
    // Where they came from, for the report.
    std::string side_reason;
    std::string view_reason;
    std::string noise_reason;
    std::string pixel_size_reason;
};

/// What is known before the image is prepared: view, pixel size, and the options carried into `source`. Throws Refusal.
[[nodiscard]] ImageSettings settle_before_preparation(const AnalysisOptions& options, SourceImage& source);

/// The rest: side and noise class. Throws Refusal.
void settle_after_preparation(const AnalysisOptions& options, const SourceImage& source, const Image& prepared,
                              ImageSettings& settings);

[[nodiscard]] const char* name_of(IMAGE_VIEW view);

}  // namespace Norvane::Host
