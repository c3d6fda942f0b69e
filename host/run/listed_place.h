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

/// The name of `file` in a list, with a mark if `result_name`, the name of its results, lies in a folder.
[[nodiscard]] std::string listed_with_place(const std::string& file, const std::string& result_name);

}  // namespace Norvane::Host
