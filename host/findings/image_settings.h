// SPDX-License-Identifier: Apache-2.0
/// What is used for one image, and where each of it came from: the command line before the file, the file before a
/// guess.
#pragma once

#include "findings/analysis_options.h"
#include "io/source_image.h"

#include <string>
#include <vector>

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
    std::string crop_reason;
};

/// What is known before the image is prepared: view, pixel size, the noise class unless it is to be chosen (then its
/// reason is empty), and the options carried into `source`. Throws Refusal.
[[nodiscard]] ImageSettings settle_before_preparation(const AnalysisOptions& options, SourceImage& source);

/// The side. A header that puts the chest wall at a border that is clearly the darker one is not believed: archives
/// flip images and leave the header as it was. Adds to `warnings` what contradicts. Throws Refusal.
void settle_side(const AnalysisOptions& options, const SourceImage& source, const Image& prepared,
                 ImageSettings& settings, std::vector<std::string>& warnings);

[[nodiscard]] const char* name_of(IMAGE_VIEW view);

}  // namespace Norvane::Host
