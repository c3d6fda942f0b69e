// SPDX-License-Identifier: Apache-2.0
#include "verbs/score_options.h"

#include "option_texts.h"

#include <charconv>
#include <optional>
#include <sstream>
#include <string_view>

namespace Norvane::Host {
namespace {

// Numbers from 0 to 255 with "+" between, such as 128+192.
std::optional<std::vector<std::uint8_t>> levels_of(std::string_view text) {
    std::vector<std::uint8_t> levels;
    const char* end = text.data() + text.size();
    for (const char* at = text.data();; ++at) {
        std::uint8_t level = 0;
        const auto found = std::from_chars(at, end, level);
        if (found.ec != std::errc()) return std::nullopt;
        levels.push_back(level);
        at = found.ptr;
        if (at == end) return levels;
        if (*at != '+') return std::nullopt;
    }
}

// breast=LEVELS,pectoral=LEVELS; a region that is not named has no pixels in the truth.
std::optional<TruthValues> values_of(const std::string& text) {
    TruthValues values{{}, {}};
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');) {
        const std::size_t equals = part.find('=');
        const std::string region = part.substr(0, equals);
        if (equals == std::string::npos || (region != "breast" && region != "pectoral")) return std::nullopt;
        const auto levels = levels_of(std::string_view(part).substr(equals + 1));
        if (!levels) return std::nullopt;
        (region == "breast" ? values.breast : values.pectoral) = *levels;
    }
    return values;
}

std::string check_values(const std::string& text) {
    return values_of(text) ? std::string() : "'" + text + "' is not breast=LEVEL+...,pectoral=LEVEL+... of 0 to 255";
}

}  // namespace

ScoreOptionSet::ScoreOptionSet(CLI::App& app)
    : verb(app.add_subcommand("score", "Compare masks with label images that somebody drew")) {
    verb->add_option("TRUTH", options.truths,
                     "Label PNG of the source's size, NAME.png or NAME.labels.png for the results NAME; or a folder of "
                     "them")
        ->required();
    verb->add_option("--masks", options.masks, "Folder of the results of norvane masks, with their label PNGs")
        ->capture_default_str();
    verb->add_option("--truth-values", values,
                     "Grey levels of the truth, such as breast=128+192,pectoral=255 [breast=1,pectoral=2]")
        ->check(check_values);
    verb->add_option("--pixel-size", options.pixel_size_um, "Micrometres [what was used for the masks]")
        ->check(check_positive);
    verb->add_option("--csv", options.csv, "Table to write [score.csv in the folder of the results]");
    verb->footer(kExitCodesHelp);
}

ScoreOptions ScoreOptionSet::finish() {
    if (!values.empty()) options.values = *values_of(values);
    return options;
}

}  // namespace Norvane::Host
