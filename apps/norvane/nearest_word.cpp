// SPDX-License-Identifier: Apache-2.0
#include "nearest_word.h"

#include <algorithm>
#include <cstddef>

namespace Norvane::Host {
namespace {

/// The number of letters that must be changed, added, removed or swapped with a neighbour.
std::size_t changes_between(const std::string& from, const std::string& to) {
    const std::size_t width = to.size() + 1;
    std::vector<std::size_t> table((from.size() + 1) * width);
    const auto at = [&](std::size_t i, std::size_t j) -> std::size_t& { return table[i * width + j]; };
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                at(i, j) = i + j;
                continue;
            }
            const std::size_t replaced = at(i - 1, j - 1) + (from[i - 1] == to[j - 1] ? 0 : 1);
            at(i, j) = std::min({at(i - 1, j) + 1, at(i, j - 1) + 1, replaced});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
            }
        }
    }
    return table.back();
}

}  // namespace

std::string nearest_word(const std::string& typed, const std::vector<std::string>& words) {
    constexpr std::size_t kLettersToAChange = 3;  // per change: "mask" may be "masks", but "a" is not "info"
    std::string nearest;
    std::size_t fewest = typed.size() / kLettersToAChange + 1;
    std::size_t beginnings = 0;
    for (const std::string& word : words) {
        if (const std::size_t changes = changes_between(typed, word); changes < fewest) {
            fewest = changes;
            nearest = word;
        }
        if (!typed.empty() && word.starts_with(typed)) ++beginnings;
    }
    if (!nearest.empty() || beginnings != 1) return nearest;
    return *std::ranges::find_if(words, [&](const std::string& word) { return word.starts_with(typed); });
}

}  // namespace Norvane::Host
