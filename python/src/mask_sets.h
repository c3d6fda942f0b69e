// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "findings/region.h"

namespace Norvane::Python {

/// What a pixel needs in order to belong to the result of two masks.
enum class SetOperation { kBoth, kEither, kFirstOnly };

/// The result, on the grid of both: their pixel size is the same.
[[nodiscard]] Host::Region combine(SetOperation operation, const Host::Region& first, const Host::Region& second);

}  // namespace Norvane::Python
