// SPDX-License-Identifier: Apache-2.0
#include "model/mask_reader.h"

#include <iterator>

namespace Norvane {

std::span<const Run> MaskReader::row(unsigned y) {
    const unsigned wanted = mask.target_to_mask(y);
    // In a loop over rows the wanted one is the row last found or the one behind it.
    if (at != mask.rows.end() && at->first < wanted) ++at;
    if (at == mask.rows.end() || at->first != wanted) at = mask.rows.find(wanted);
    runs.clear();
    if (at == mask.rows.end()) return {};
    for (const auto& [first, last] : at->second)
        runs.push_back({mask.mask_to_target(first), mask.mask_to_target(last)});
    return runs;
}

}  // namespace Norvane
