// SPDX-License-Identifier: Apache-2.0
/// What the page of a run shows of one image.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// A small picture with the outlines, as JPEG.
[[nodiscard]] std::string page_thumbnail(const Findings& findings);

/// The prepared image in grey, as JPEG.
[[nodiscard]] std::string page_picture(const Findings& findings);

/// The outlines to lay over the picture, and the settings in words, as a call of norvaneLayers(). It is a script
/// because pages that are opened from a folder may load scripts and pictures, and nothing else.
[[nodiscard]] std::string page_layers(const Findings& findings);

}  // namespace Norvane::Host
