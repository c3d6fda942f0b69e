// SPDX-License-Identifier: Apache-2.0
/// A window of the frame search as the image operations take it.
#pragma once

#include "model/geometry.h"

namespace Norvane {

struct WindowPlace {
    unsigned x, y, width, height;
};

[[nodiscard]] inline WindowPlace placed(const Rectangle<int>& window) {
    const auto& [columns, rows] = window;
    return {static_cast<unsigned>(columns.first), static_cast<unsigned>(rows.first),
            static_cast<unsigned>(columns.last - columns.first + 1), static_cast<unsigned>(rows.last - rows.first + 1)};
}

}  // namespace Norvane
