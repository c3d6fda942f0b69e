// SPDX-License-Identifier: Apache-2.0
#include "python_words.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Norvane::Python {
namespace {

struct Wording {
    std::string_view option;
    std::string_view argument;
};

// Options whose argument has another name, or another form.
constexpr std::array kWordings{
    Wording{"--frame N, or all with --frame all", "frame=N"},
    Wording{"--padding LO:HI", "padding=(low, high)"},
    Wording{"--default-view mlo", "default_view='mlo'"},
    Wording{"--default-view cc", "default_view='cc'"},
    Wording{"--decode in-process", "decode='in-process'"},
    Wording{"--any-modality", "any_modality=True"},
    Wording{"--invert", "inverted=True"},
};

bool is_lower_case(char letter) { return letter >= 'a' && letter <= 'z'; }

}  // namespace

std::string in_python_words(std::string sentence) {
    for (const Wording& wording : kWordings) {
        for (auto at = sentence.find(wording.option); at != std::string::npos;
             at = sentence.find(wording.option, at + wording.argument.size())) {
            sentence.replace(at, wording.option.size(), wording.argument);
        }
    }
    // Any other option is an argument with underscores.
    for (auto at = sentence.find(" --"); at != std::string::npos; at = sentence.find(" --", at + 1)) {
        if (at + 3 == sentence.size() || !is_lower_case(sentence[at + 3])) continue;
        sentence.erase(at + 1, 2);
        const auto name = sentence.begin() + static_cast<std::ptrdiff_t>(at) + 1;
        const auto end = std::find_if(name, sentence.end(), [](char c) { return !is_lower_case(c) && c != '-'; });
        std::replace(name, end, '-', '_');
    }
    return sentence;
}

}  // namespace Norvane::Python
