// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "findings/findings.h"

#include <string>
#include <vector>

namespace Norvane::Host {

/// What was used for an image and why, a sentence a line, for people.
[[nodiscard]] std::vector<std::string> settings_text(const Findings& findings);

}  // namespace Norvane::Host
