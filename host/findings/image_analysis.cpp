// SPDX-License-Identifier: Apache-2.0
#include "findings/image_analysis.h"

#include "findings/noise_choice.h"
#include "findings/outline_contrast.h"
#include "io/image_memory.h"
#include "io/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace Norvane::Host {
namespace {

// Padding values that bound the breast are the class's business, wherever they lie.
void find_crop(const AnalysisOptions& options, ImageAnalysis& analysis) {
    ImageSettings& settings = analysis.settings;
    analysis.crop = whole_of(analysis.source);
    if (!options.crops_film_area) {
        settings.crop_reason = "as given";
    } else if (settings.noise == BG_GIVEN_LEVEL) {
        settings.crop_reason = "the class given-level looks at the borders itself";
    } else {
        FilmArea area = find_film_area(analysis.source, settings.pixel_size_um);
        analysis.crop = area.box;
        settings.crop_reason = std::move(area.reason);
    }
}

// Images with a black, flat background are all alike; on film the classes have to be tried.
void choose_noise_class(const PreparedImage& plain, const MasksRequest& request, ImageAnalysis& analysis) {
    ImageSettings& settings = analysis.settings;
    const NoiseChoice look = choose_noise(*plain.image);
    settings.noise = look.noise;
    settings.noise_reason = look.reason;
    if (look.noise == BG_MG) return;
    analysis.noise_trials = try_noise_classes(plain, request);
    const NoiseTrial* best = best_of(analysis.noise_trials);
    if (best == nullptr) {
        settings.noise_reason += "; no class that was tried gave a usable breast mask";
        return;
    }
    settings.noise = best->noise;
    settings.noise_reason += "; of " + std::to_string(analysis.noise_trials.size()) +
                             " classes tried, its breast mask agrees best with the others (mean Dice " +
                             number_text(std::round(best->measures.front().second * 1e3) / 1e3) + ")";
}

// The working grid is never finer than the source, but as fine if the source is coarse.
void refuse_beyond_memory(const ImageAnalysis& analysis, std::uint64_t limit) {
    const SourceBox& crop = analysis.crop;
    const double scale =
        std::min(1.0, analysis.settings.pixel_size_um / static_cast<double>(Masking::c_lowres_pixelsize));
    const double grid_pixels = static_cast<double>(crop.width) * scale * static_cast<double>(crop.height) * scale;
    const std::uint64_t source = memory_of_source(analysis.source.samples.size());
    Host::refuse_beyond_memory(limit, source + memory_of_working_grid(static_cast<std::uint64_t>(grid_pixels)),
                               "its working grid");
}

}  // namespace

ImageAnalysis analyse(SourceImage source, const AnalysisOptions& options) {
    ImageAnalysis analysis;
    analysis.source = std::move(source);
    analysis.warnings = analysis.source.warnings;
    ImageSettings& settings = analysis.settings;
    settings = settle_before_preparation(options, analysis.source);
    find_crop(options, analysis);
    refuse_beyond_memory(analysis, options.image_memory);
    PreparedImage plain = prepare_source(analysis.source, analysis.crop, settings.pixel_size_um);
    settle_side(options, analysis.source, *plain.image, settings, analysis.warnings);
    MasksRequest request{settings.side, settings.view, settings.noise, options.is_fast, options.wants_contour};
    if (settings.noise_reason.empty()) choose_noise_class(plain, request, analysis);
    request.noise = settings.noise;
    analysis.prepared = prepared_for(plain, settings.noise);
    analysis.masks = run_masks(analysis.prepared, request);
    // Raised levels would hide the step at the skin line.
    MasksResult& masks = analysis.masks;
    analysis.outline_contrast = outline_contrast(plain, masks.breast.mask, masks.frame.mask);
    return analysis;
}

}  // namespace Norvane::Host
