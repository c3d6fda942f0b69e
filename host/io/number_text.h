// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

namespace Norvane::Host {

/// A number for people to read: six significant digits, no trailing zeros.
[[nodiscard]] inline std::string number_text(double value) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

}  // namespace Norvane::Host
