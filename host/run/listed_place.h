// SPDX-License-Identifier: Apache-2.0
/// Names in lists of inputs that say where the results have their place: BASE/./REST, as in rsync. The results keep the
/// path REST below the folder of the results.
#pragma once

#include <filesystem>
#include <string>

namespace Norvane::Host {

struct ListedPlace {
    std::string file;            ///< without the mark
    std::filesystem::path base;  ///< empty if the name has no mark
};
[[nodiscard]] ListedPlace place_of_listed(const std::string& listed);

/// The name of `file` in a list, with a mark if it lies below `base`.
[[nodiscard]] std::string listed_with_place(const std::string& file, const std::filesystem::path& base);

}  // namespace Norvane::Host
