// SPDX-License-Identifier: Apache-2.0
#include "run/listed_place.h"

#include <iterator>
#include <string_view>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;
constexpr std::string_view kMark = "/./";

}  // namespace

ListedPlace place_of_listed(const std::string& listed) {
    const std::size_t mark = listed.rfind(kMark);
    if (mark == std::string::npos || mark == 0) return {listed, {}};
    const std::string base = listed.substr(0, mark);
    const std::string rest = listed.substr(mark + kMark.size());
    if (base == ".") return {rest, base};
    return {base + "/" + rest, fs::path(base).lexically_normal()};
}

std::string listed_with_place(const std::string& file, const std::string& result_name) {
    const fs::path name(result_name), path = fs::path(file).lexically_normal();
    const auto depth = std::distance(name.begin(), name.end());
    const auto parts = std::distance(path.begin(), path.end());
    if (depth < 2 || depth > parts) return file;
    fs::path base, rest;
    auto part = path.begin();
    for (auto i = parts; i > depth; --i) base /= *part++;
    for (; part != path.end(); ++part) rest /= *part;
    if (rest.parent_path() != name.parent_path()) return file;
    return (base.empty() ? "." : base.string()) + std::string(kMark) + rest.string();
}

}  // namespace Norvane::Host
