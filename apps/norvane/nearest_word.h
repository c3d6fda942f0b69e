// SPDX-License-Identifier: Apache-2.0
/// "Did you mean ...?"
#pragma once

#include <string>
#include <vector>

namespace Norvane::Host {

/// The word that was probably meant: the one that becomes `typed` with the fewest changes of a letter, or the only one
/// that begins with it. Empty if no word is similar.
[[nodiscard]] std::string nearest_word(const std::string& typed, const std::vector<std::string>& words);

}  // namespace Norvane::Host
