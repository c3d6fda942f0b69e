// SPDX-License-Identifier: Apache-2.0
/// Chooses the noise class for a film by trying several.
#pragma once

#include "findings/host_image.h"
#include "findings/library_masks.h"

#include <norvane/masking.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Norvane::Host {

/// One class that was tried.
struct NoiseTrial {
    BG_NOISE noise = BG_AUTO_COARSE;
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;   ///< status of the breast mask
    std::size_t area = 0;                                  ///< pixels of the breast mask
    std::vector<std::pair<std::string, double>> measures;  ///< names and values that the choice is based on
};

/// Makes the breast masks of several classes. Each trial says how well its mask agrees with the others: the mean of its
/// Dice coefficients with the usable ones. On film, the best class differs from image to image, and so does the class
/// that fails. But classes fail in different ways, too wide or too narrow, while those that succeed agree.
///
/// `request` gives side, view and speed; its class is ignored.
[[nodiscard]] std::vector<NoiseTrial> try_noise_classes(const PreparedImage& prepared, MasksRequest request);

/// The usable trial that agrees best with the others, or the first of them. Null if none is usable.
[[nodiscard]] const NoiseTrial* best_of(const std::vector<NoiseTrial>& trials);

}  // namespace Norvane::Host
