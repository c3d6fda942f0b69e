// SPDX-License-Identifier: Apache-2.0
/// The sides and views that options name.
#pragma once

#include "findings/chest_wall_side.h"
#include "findings/image_settings.h"

#include <array>
#include <utility>

namespace Norvane::Host {

inline const std::array kNamedSides{std::pair{name_of(SIDE_CHEST_LEFT), SIDE_CHEST_LEFT},
                                    std::pair{name_of(SIDE_CHEST_RIGHT), SIDE_CHEST_RIGHT}};
inline const std::array kNamedViews{std::pair{name_of(VIEW_PECT), VIEW_PECT},
                                    std::pair{name_of(VIEW_NO_PECT), VIEW_NO_PECT}};

}  // namespace Norvane::Host
