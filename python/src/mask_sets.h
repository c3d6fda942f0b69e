// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <norvane/mask.h>

namespace Norvane::Python {

/// What a pixel needs in order to belong to the result of two masks.
enum class SetOperation { kBoth, kEither, kFirstOnly };

/// The result, on the grid of `first`. Both have the same pixel size. Sets their target pixel sizes.
[[nodiscard]] Mask combine(SetOperation operation, Mask& first, Mask& second);

}  // namespace Norvane::Python
