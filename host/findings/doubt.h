// SPDX-License-Identifier: Apache-2.0
/// How far the masks of an image can be trusted, beyond their statuses.
#pragma once

#include "findings/region.h"

#include <norvane/masking.h>

#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

struct Findings;

/// From 0 (nothing speaks against the mask) to 1. Above 0.5 somebody should look at the mask.
struct Doubt {
    double breast = 0.0;
    double muscle = 0.0;  ///< 0 in a view without muscle
};

/// What the doubt is made of.
struct DoubtMeasures {
    std::optional<double> trial_agreement;  ///< mean Dice of the class that was taken with the others that were tried
    double outline_contrast = 0.0;          ///< see outline_contrast()
    double raggedness = 1.0;                ///< see raggedness()
    bool has_black_background = false;      ///< of a digital image, where outlines are much clearer than on film
    bool shows_muscle = false;              ///< the view does
    bool has_muscle = false;                ///< the exact muscle was found
    double muscle_dice = 1.0;               ///< of exact and refined muscle
    double muscle_contrast = 0.0;           ///< the 20th percentile of the log contrast along the refined border
    double muscle_reach = 0.0;              ///< rows of the muscle, as a share of the breast's
    bool is_inverted = false;               ///< the image was taken as one with dark tissue
    double bright_share = 0.0;              ///< pixels nearly as bright as the brightest
};

[[nodiscard]] Doubt doubt_of(const DoubtMeasures& measures);

/// What should be looked at, one sentence each, with the option that may help.
[[nodiscard]] std::vector<std::string> alarms_of(const DoubtMeasures& measures);

[[nodiscard]] DoubtMeasures doubt_measures(const Findings& findings);

/// The length of the outline along the pixels' sides, divided by that of the box around the region. It is 1 for a
/// region in one piece without dents, and it grows as the outline runs in and out. Pieces far apart can bring it
/// below 1. 0 for an empty region.
[[nodiscard]] double raggedness(const Region& region);

}  // namespace Norvane::Host
