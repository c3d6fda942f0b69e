// SPDX-License-Identifier: Apache-2.0
/// Cuts out the part of the source that shows the breast, for training and for viewers.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// A grey 16-bit PNG of the breast_window(): the samples of the source inside breast and muscle, and 0 elsewhere. If
/// tissue is dark in the source, the samples are inverted, so that 0 always is the dark end of the scale.
[[nodiscard]] std::string breast_crop_png(const Findings& findings);

}  // namespace Norvane::Host
