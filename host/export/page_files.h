// SPDX-License-Identifier: Apache-2.0
/// Makes the files of one image for the page of a run.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// A small picture with the outlines, as JPEG.
[[nodiscard]] std::string page_thumbnail(const Findings& findings);

/// The prepared image in grey, as JPEG.
[[nodiscard]] std::string page_picture(const Findings& findings);

/// The outlines to draw over the picture, and the settings in words, as a call of norvaneLayers(). It is a script
/// because a page that is opened from a folder may load only scripts and pictures.
[[nodiscard]] std::string page_layers(const Findings& findings);

}  // namespace Norvane::Host
