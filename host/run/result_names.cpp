// SPDX-License-Identifier: Apache-2.0
#include "run/result_names.h"

#include "io/read_image.h"

#include <map>
#include <set>

namespace Norvane::Host {
std::string own_result_name(const Input& input) {
    std::filesystem::path name = std::filesystem::path(input.file).lexically_normal();
    name = input.base.empty() ? name.filename() : name.lexically_relative(input.base);
    std::string own = (has_image_ending(name) ? name.replace_extension() : name).string();
    if (const std::string frame = own_frame(input); !frame.empty()) own += ".frame" + frame;
    return own;
}

void give_result_names(std::vector<Input>& inputs) {
    std::set<std::string> own;  // a numbered name must not be the own name of another input
    for (const Input& input : inputs) {
        if (input.refusal.empty()) own.insert(own_result_name(input));
    }
    std::set<std::string> taken;
    std::map<std::string, int> last_number;  // for each own name, because thousands of files may share one
    for (Input& input : inputs) {
        if (!input.refusal.empty()) continue;
        const std::string base = own_result_name(input);
        input.name = base;
        int& number = last_number.try_emplace(base, 1).first->second;
        while (taken.contains(input.name) || (input.name != base && own.contains(input.name))) {
            input.name = base + "-" + std::to_string(++number);
        }
        taken.insert(input.name);
    }
}

}  // namespace Norvane::Host
