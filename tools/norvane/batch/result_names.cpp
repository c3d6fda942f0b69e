// SPDX-License-Identifier: Apache-2.0
#include "batch/result_names.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace Norvane::Host {
namespace {

// Only endings of image files are cut off: the names of DICOM files are often numbers with dots, all of which count.
constexpr const char* kImageEndings[] = {".png", ".pgm", ".pnm", ".dcm", ".dicom", ".ima"};

std::string base_name(const std::string& file) {
    const std::filesystem::path path(file);
    std::string ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const bool is_known = std::ranges::find(kImageEndings, ending) != std::end(kImageEndings);
    return is_known ? path.stem().string() : path.filename().string();
}

}  // namespace

std::vector<std::string> result_names(const std::vector<std::string>& files) {
    std::set<std::string> own;  // a number is not given where it would meet the own name of another input
    for (const std::string& file : files) own.insert(base_name(file));
    std::set<std::string> taken;
    std::vector<std::string> names;
    for (const std::string& file : files) {
        const std::string base = base_name(file);
        std::string name = base;
        for (int number = 2; taken.contains(name) || (name != base && own.contains(name)); ++number) {
            name = base + "-" + std::to_string(number);
        }
        taken.insert(name);
        names.push_back(name);
    }
    return names;
}

}  // namespace Norvane::Host
