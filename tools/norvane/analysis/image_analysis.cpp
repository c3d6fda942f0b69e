// SPDX-License-Identifier: Apache-2.0
#include "analysis/image_analysis.h"

#include <utility>

namespace Norvane::Host {

ImageAnalysis analyse(SourceImage source, const AnalysisOptions& options) {
    ImageAnalysis analysis;
    analysis.source = std::move(source);
    analysis.crop = {0, 0, analysis.source.width, analysis.source.height};
    analysis.warnings = analysis.source.warnings;
    ImageSettings& settings = analysis.settings;
    settings = settle_before_preparation(options, analysis.source);
    analysis.prepared = prepare_source(analysis.source, settings.pixel_size_um, settings.noise);
    settle_after_preparation(options, analysis.source, *analysis.prepared.image, settings);
    analysis.masks = run_masks(analysis.prepared,
                               {settings.side, settings.view, settings.noise, options.is_fast, options.wants_contour});
    return analysis;
}

}  // namespace Norvane::Host
