// SPDX-License-Identifier: Apache-2.0
/// "Did you mean ...?"
#pragma once

#include <string>
#include <vector>

namespace Norvane::Host {

/// The word that was most likely meant: the one that becomes `typed` by the fewest changes of a letter, or the only one
/// that begins with it. Empty if none is near.
[[nodiscard]] std::string nearest_word(const std::string& typed, const std::vector<std::string>& words);

}  // namespace Norvane::Host
