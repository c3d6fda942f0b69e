// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "findings/region.h"

namespace Norvane::Python {

/// Which pixels of two masks belong to the result.
enum class SetOperation { kBoth, kEither, kFirstOnly };

/// The result. Both masks must have the same pixel size, and the result lies on their grid.
[[nodiscard]] Host::Region combine(SetOperation operation, const Host::Region& first, const Host::Region& second);

}  // namespace Norvane::Python
