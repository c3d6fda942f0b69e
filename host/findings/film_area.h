// SPDX-License-Identifier: Apache-2.0
/// Finds the film inside the borders that a scanner or an archive added.
#pragma once

#include "io/source_image.h"

#include <string>

namespace Norvane::Host {

/// A rectangle of the source, in its pixels.
struct SourceBox {
    unsigned x = 0;
    unsigned y = 0;
    unsigned width = 0;
    unsigned height = 0;

    friend bool operator==(const SourceBox&, const SourceBox&) = default;
};

[[nodiscard]] inline SourceBox whole_of(const SourceImage& source) { return {0, 0, source.width, source.height}; }

/// The source without its black and white borders. They must go because the library expects the chest wall at the first
/// or last column and would take a black border for background. It also looks for a bright frame in some noise classes
/// only, so a straight, bright collimation frame is cut off too.
///
/// A border consists of black or white lines without a signal, at least 1 mm thick together. It ends at a straight
/// edge: the next line has a signal along much of its length. The black background of a digital image ends at the
/// curved skin line, so it is not cut off. The answer says which borders were.
[[nodiscard]] Sourced<SourceBox> find_film_area(const SourceImage& source, double pixel_size_um);

}  // namespace Norvane::Host
