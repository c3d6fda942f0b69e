// SPDX-License-Identifier: Apache-2.0
/// Finds the border at which the chest wall lies.
#pragma once

#include "io/header.h"

#include <norvane/image.h>
#include <norvane/masking.h>

#include <optional>
#include <string>

namespace Norvane::Host {

/// The brighter of the two vertical borders; no side if they do not differ enough. `is_clear` says that one is more
/// than twice as bright as the other.
struct BrighterBorder {
    std::optional<IMAGE_SIDE> side;
    bool is_clear = false;
    std::string means;  ///< the measured grey levels, in words
};
[[nodiscard]] BrighterBorder brighter_border(const Image& prepared);

/// The vertical border of a prepared image with more tissue, because the breast lies at one of them. If both have about
/// as much, the brighter one. If they do not differ, the laterality decides by the convention for hanging mammograms,
/// and at last `otherwise`. Throws Refusal if these are unknown too.
[[nodiscard]] Sourced<IMAGE_SIDE> choose_side(const Image& prepared, const Said<Laterality>& laterality,
                                              std::optional<IMAGE_SIDE> otherwise = std::nullopt);

/// Where the chest wall of a breast lies by the convention for hanging mammograms.
[[nodiscard]] IMAGE_SIDE hung_side(Laterality laterality);

}  // namespace Norvane::Host
