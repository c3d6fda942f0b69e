// SPDX-License-Identifier: Apache-2.0
/// The part of the source that shows the breast, for training and for viewers.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The box around breast and muscle, in pixels of the source; the whole source where no mask was found.
[[nodiscard]] SourceBox breast_window(const Findings& findings);

/// A grey PNG of 16 bits of that box: the samples of the source where there is breast or muscle, 0 elsewhere. A source
/// whose tissue is dark is inverted, so that 0 is the dark end of the scale always.
[[nodiscard]] std::string breast_crop_png(const Findings& findings);

}  // namespace Norvane::Host
