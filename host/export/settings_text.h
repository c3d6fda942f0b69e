// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "findings/findings.h"

#include <string>
#include <vector>

namespace Norvane::Host {

/// The settings of an image and where they came from, one per line, for people.
[[nodiscard]] std::vector<std::string> settings_text(const Findings& findings);

}  // namespace Norvane::Host
