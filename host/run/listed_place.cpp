// SPDX-License-Identifier: Apache-2.0
#include "run/listed_place.h"

#include <cstddef>
#include <string_view>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;
constexpr std::string_view kMark = "/./";

// Another name of the file, which a list does not take for one with a mark.
std::string without_mark(std::string file) {
    for (std::size_t mark = 0; (mark = file.find(kMark)) != std::string::npos;) file.erase(mark, kMark.size() - 1);
    return file;
}

}  // namespace

ListedPlace place_of_listed(const std::string& listed) {
    const std::size_t mark = listed.rfind(kMark);
    if (mark == std::string::npos || mark == 0) return {listed, {}};
    const std::string base = listed.substr(0, mark);
    const std::string rest = listed.substr(mark + kMark.size());
    if (base == ".") return {rest, base};
    return {base + "/" + rest, fs::path(base).lexically_normal()};
}

std::string listed_with_place(const std::string& file, const fs::path& base) {
    const fs::path rest = fs::path(file).lexically_normal().lexically_relative(base);
    if (base.empty() || rest.empty() || rest == "." || *rest.begin() == "..") return without_mark(file);
    return (base / "").parent_path().string() + std::string(kMark) + rest.string();
}

}  // namespace Norvane::Host
