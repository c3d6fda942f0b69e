// SPDX-License-Identifier: Apache-2.0
/// Finds the film inside what a scanner or an archive put around it.
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

/// The source without its black and white borders. The library expects the chest wall at the first or last column,
/// takes a black border for a background of its own, and looks for a bright frame in some classes of background only;
/// so a collimation frame that is straight and bright all around is cut off too.
///
/// A border is at least 1 mm of lines without a signal, black or white, that end at a straight edge: along much of the
/// next line there is a signal. The black background of a digital image ends at the curved skin line and stays.
/// The answer says which borders were cut off.
[[nodiscard]] Sourced<SourceBox> find_film_area(const SourceImage& source, double pixel_size_um);

}  // namespace Norvane::Host
