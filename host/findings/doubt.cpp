// SPDX-License-Identifier: Apache-2.0
#include "findings/doubt.h"

#include "findings/findings.h"
#include "findings/grey_rows.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace Norvane::Host {
namespace {

// If a measure alone has this amount, the doubt is one half. The amounts were chosen on labelled films, on the same
// films after changes of grey scale, noise and sharpness, and on images that were inverted by mistake.
constexpr double kHalfDisagreement = 0.25;
constexpr double kHalfOutlineContrast = 0.015, kHalfBlackOutlineContrast = 0.5;
constexpr double kHalfRaggedness = 0.3;  // above 1
constexpr double kHalfMuscleDifference = 0.05;
constexpr double kHalfMuscleContrast = 0.03;

constexpr double kMissedMuscle = 0.8;  // the doubt about a muscle that should be there
constexpr double kWholeBreast = 0.97;  // the reach of a line that left the muscle
constexpr double kWholeBreastDoubt = 0.6;

// Beyond these limits a warning is given.
constexpr double kLeastAgreement = 0.5;
constexpr double kLeastOutlineContrast = 0.012, kLeastBlackOutlineContrast = 0.3;
constexpr double kMostRaggedness = 1.25;   // breasts are below 1.15
constexpr double kMostBrightShare = 0.25;  // images with bright tissue have 0.04 at most

// Rises from 0 to 1, with one half at `half`.
double rising(double amount, double half) { return amount > 0.0 ? amount / (amount + half) : 0.0; }
double falling(double amount, double half) { return half / (half + std::max(0.0, amount)); }

// Joins two independent reasons as probabilities are joined.
double either(double a, double b) { return 1.0 - (1.0 - a) * (1.0 - b); }

double muscle_doubt(const DoubtMeasures& measures) {
    if (!measures.shows_muscle) return 0.0;
    if (!measures.has_muscle) return kMissedMuscle;
    const double doubt = either(rising(1.0 - measures.muscle_dice, kHalfMuscleDifference),
                                falling(measures.muscle_contrast, kHalfMuscleContrast));
    return measures.muscle_reach > kWholeBreast ? std::max(doubt, kWholeBreastDoubt) : doubt;
}

// The share of pixels in the upper 6 % of the grey scale. Single bright pixels do not count for its top.
double bright_share(const Image& image) {
    constexpr std::size_t kBins = 1024;
    std::array<std::size_t, kBins> counts{};
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        for (const std::uint16_t grey : grey_row(image, y)) ++counts[grey / 64U];
    }
    const std::size_t pixels = std::size_t{image.GetWidth()} * image.GetHeight();
    const auto bin_above = [&](std::size_t share_of_thousand) {
        std::size_t below = 0;
        for (std::size_t bin = 0; bin < kBins; ++bin) {
            below += counts[bin];
            if (below * 1000 > pixels * share_of_thousand) return bin;
        }
        return kBins - 1;
    };
    const std::size_t bottom = bin_above(1), top = bin_above(998);
    const std::size_t first = top - (top - bottom) * 6 / 100;
    std::size_t bright = 0;
    for (std::size_t bin = first; bin < kBins; ++bin) bright += counts[bin];
    return pixels > 0 ? static_cast<double>(bright) / static_cast<double>(pixels) : 0.0;
}

double reach_of(const Region& muscle, const Region& breast) {
    const auto rows = [](const Region& region) {
        const auto bounds = region.bounds();
        return bounds ? bounds->bottom - bounds->top + 1.0 : 0.0;
    };
    const double all = rows(breast);
    return all > 0.0 ? rows(muscle) / all : 0.0;
}

// If no class gave a usable mask, there was no agreement.
std::optional<double> agreement_of(const Findings& findings) {
    if (findings.noise_trials.empty()) return std::nullopt;
    for (const NoiseTrial& trial : findings.noise_trials) {
        if (trial.noise == findings.settings.noise.value && !trial.measures.empty()) {
            return trial.measures.front().second;
        }
    }
    return 0.0;
}

}  // namespace

Doubt doubt_of(const DoubtMeasures& measures) {
    const double half_contrast = measures.has_black_background ? kHalfBlackOutlineContrast : kHalfOutlineContrast;
    const double disagreement = 1.0 - measures.trial_agreement.value_or(1.0);
    return {std::max({rising(disagreement, kHalfDisagreement), falling(measures.outline_contrast, half_contrast),
                      rising(measures.raggedness - 1.0, kHalfRaggedness)}),
            muscle_doubt(measures)};
}

std::vector<std::string> alarms_of(const DoubtMeasures& measures) {
    const double least_contrast = measures.has_black_background ? kLeastBlackOutlineContrast : kLeastOutlineContrast;
    const struct {
        bool is_raised;
        const char* sentence;
    } alarms[] = {
        {measures.bright_share > kMostBrightShare && !measures.is_inverted,
         "much of the image is white, as if tissue were dark on a bright background: if so, give --invert"},
        {measures.bright_share > kMostBrightShare && measures.is_inverted,
         "much of the image is white after it was inverted: look whether tissue is dark in the file, and leave out "
         "--invert if not"},
        {measures.trial_agreement.value_or(1.0) < kLeastAgreement,
         "the noise classes that were tried disagree about the breast: look at the mask, and choose a class with "
         "--noise"},
        {measures.outline_contrast < least_contrast,
         "there is no step of grey levels across the outline of the breast: look at the mask, and try another --noise"},
        {measures.raggedness > kMostRaggedness,
         "the outline of the breast runs in and out like a star: look at the mask, and try another --noise"},
        {measures.has_muscle && measures.muscle_reach > kWholeBreast,
         "the border of the pectoral muscle runs through the whole breast: look at the muscle, or take the refined one "
         "with --muscle refined"}};
    std::vector<std::string> sentences;
    for (const auto& alarm : alarms) {
        if (alarm.is_raised) sentences.emplace_back(alarm.sentence);
    }
    return sentences;
}

DoubtMeasures doubt_measures(const Findings& findings) {
    const FoundMasks& masks = findings.masks;
    DoubtMeasures measures;
    measures.trial_agreement = agreement_of(findings);
    measures.outline_contrast = findings.outline_contrast;
    measures.raggedness = raggedness(masks.breast.region);
    measures.has_black_background = findings.settings.noise.value == BG_MG;
    measures.shows_muscle = findings.settings.view.value == VIEW_PECT;
    measures.has_muscle = masks.pectoral.region.area() > 0;
    measures.muscle_dice = dice(masks.pectoral.region, masks.refined.region);
    measures.muscle_contrast = masks.refined.low_contrast;
    measures.muscle_reach = reach_of(masks.pectoral.region, masks.breast.region);
    measures.is_inverted = findings.settings.is_inverted;
    measures.bright_share = bright_share(findings.working_image());
    return measures;
}

double raggedness(const Region& region) {
    const auto bounds = region.bounds();
    if (!bounds) return 0.0;
    std::size_t sides = 0;
    RowRuns before{};
    const auto add_between = [&](const RowRuns& upper, const RowRuns& lower) {
        const Region a({{0, upper.runs}}, 1.0F), b({{0, lower.runs}}, 1.0F);
        sides += a.area() + b.area() - 2 * common_area(a, b);
    };
    for (const RowRuns& row : region.rows()) {
        sides += 2 * row.runs.size();
        if (!before.runs.empty() && before.row + 1 != row.row) {
            add_between(before, {});
            before.runs.clear();
        }
        add_between(before, row);
        before = row;
    }
    add_between(before, {});
    const unsigned box = 2 * (bounds->right - bounds->left + 1 + bounds->bottom - bounds->top + 1);
    return static_cast<double>(sides) / static_cast<double>(box);
}

}  // namespace Norvane::Host
