// SPDX-License-Identifier: Apache-2.0
#include "findings/findings.h"

#include "findings/noise_choice.h"
#include "findings/outline_contrast.h"
#include "io/image_memory.h"
#include "io/number_text.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <utility>

namespace Norvane::Host {
namespace {

// With the class given-level, the library itself handles padding values next to the breast, so nothing is cut off.
Sourced<SourceBox> crop_of(const AnalysisOptions& options, const SourceImage& source, const ImageSettings& settings) {
    if (!options.crops_film_area) return {whole_of(source), "as given"};
    if (settings.noise.value == BG_GIVEN_LEVEL) {
        return {whole_of(source), "the class given-level handles the borders itself"};
    }
    return find_film_area(source, settings.pixel_size_um.value);
}

// Images with a black, flat background all need the same class. On film, the classes have to be tried.
Sourced<BG_NOISE> choose_noise_class(const PreparedImage& plain, const MasksRequest& request,
                                     std::vector<NoiseTrial>& trials) {
    Sourced<BG_NOISE> noise = choose_noise(*plain.image, request.side);
    if (noise.value == BG_MG) return noise;
    trials = try_noise_classes(plain, request);
    const NoiseTrial* best = best_of(trials);
    if (best == nullptr) {
        noise.from += "; no class that was tried gave a usable breast mask";
        return noise;
    }
    noise.value = best->noise;
    noise.from += fmt::format("; of {} classes tried, its breast mask agrees best with the others (mean Dice {})",
                              trials.size(), number_text(std::round(best->measures.front().second * 1e3) / 1e3));
    return noise;
}

// The working grid is never finer than the source. If the source is coarse, it is as fine.
void refuse_beyond_memory(const SourceImage& source, const ImageSettings& settings, std::uint64_t limit) {
    const SourceBox& crop = settings.crop.value;
    const double scale = std::min(1.0, settings.pixel_size_um.value / static_cast<double>(Masking::c_lowres_pixelsize));
    const double grid_pixels = static_cast<double>(crop.width) * scale * static_cast<double>(crop.height) * scale;
    const std::uint64_t grid = memory_of_working_grid(static_cast<std::uint64_t>(grid_pixels));
    Host::refuse_beyond_memory(limit, memory_of_source(source.samples.size()) + grid, "its working grid");
}

// The library's masks stay what they are; the refined muscle lies beside them.
void add_refined_muscle(Findings& findings, MuscleBorderChoice choice) {
    FoundMasks& masks = findings.masks;
    masks.choice = choice;
    masks.refined.region = masks.pectoral.region;
    if (findings.settings.view.value == VIEW_PECT) {
        masks.refined = refine_muscle(findings.working_image(), masks.breast.region, masks.pectoral.region,
                                      findings.settings.side.value);
    }
    masks.refined_full =
        masks.refined.is_refined ? united(masks.breast.region, masks.refined.region) : masks.full.region;
}

void add_doubt(Findings& findings) {
    const DoubtMeasures measures = doubt_measures(findings);
    findings.doubt = doubt_of(measures);
    std::ranges::move(alarms_of(measures), std::back_inserter(findings.warnings));
}

}  // namespace

Findings analyse(SourceImage source, const AnalysisOptions& options, std::string file) {
    Findings findings;
    findings.file = std::move(file);
    findings.warnings = source.warnings;
    ImageSettings& settings = findings.settings;
    settings = settle_before_preparation(options, source, findings.warnings);
    settings.seg = options.seg;
    settings.crop = crop_of(options, source, settings);
    refuse_beyond_memory(source, settings, options.image_memory);
    const PreparedImage plain = prepare_source(source, settings.crop.value, settings.pixel_size_um.value);
    settings.side = settle_side(options, source, *plain.image, findings.warnings);
    MasksRequest request{settings.side.value, settings.view.value, settings.noise.value, options.is_fast,
                         options.wants_contour};
    if (settings.noise.from.empty()) settings.noise = choose_noise_class(plain, request, findings.noise_trials);
    request.noise = settings.noise.value;
    findings.prepared = prepared_for(plain, request.noise);
    findings.masks = run_masks(findings.prepared, request);
    // Uses `plain`, because levels raised for the class would hide the step at the skin line.
    findings.outline_contrast =
        outline_contrast(*plain.image, findings.masks.breast.region, findings.masks.frame.region);
    add_refined_muscle(findings, options.muscle);
    add_doubt(findings);
    findings.source = std::move(source);
    return findings;
}

}  // namespace Norvane::Host
