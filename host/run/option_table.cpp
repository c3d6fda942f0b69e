// SPDX-License-Identifier: Apache-2.0
#include "run/option_table.h"

#include "findings/analysis_options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <sstream>

namespace Norvane::Host {
namespace {

constexpr double kMicrometresPerMillimetre = 1000.0;

// The shortest text for the number.
std::string text_of(double number) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

template <class Number>
std::optional<Number> parsed(const std::string& text) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto found = std::from_chars(text.data(), end, number);
    if (found.ec != std::errc() || found.ptr != end) return std::nullopt;
    return number;
}

std::string names_of(const std::vector<OptionChoice>& choices, const char* separator) {
    std::string text;
    for (const OptionChoice& choice : choices) text += (text.empty() ? "" : separator) + choice.name;
    return text;
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');) {
        if (!part.empty()) parts.push_back(part);
    }
    if (parts.empty()) throw std::invalid_argument("'" + text + "' names nothing");
    return parts;
}

std::string checked_flag(const std::string& text) {
    for (const char* yes : {"true", "yes", "on", "1"}) {
        if (text == yes) return "true";
    }
    for (const char* no : {"false", "no", "off", "0"}) {
        if (text == no) return "false";
    }
    throw std::invalid_argument("'" + text + "' is neither true nor false");
}

// The word as the table has it.
std::string named_choice(const OptionFacts& option, const std::string& value) {
    for (const OptionChoice& choice : option.choices) {
        if (is_same_word(choice.name, value)) return choice.name;
    }
    throw std::invalid_argument("'" + value + "' is none of " + names_of(option.choices, ", "));
}

void check_range(const OptionFacts& option, const std::string& value) {
    if (!option.range) return;
    const double number = number_of(value);
    if (!(option.range->first <= number && number <= option.range->second)) {
        throw std::invalid_argument(value + " is not " + range_text(option));
    }
}

}  // namespace

bool is_same_word(std::string_view a, std::string_view b) {
    const auto lower = [](unsigned char c) { return std::tolower(c); };
    return std::ranges::equal(a, b, {}, lower, lower);
}

std::vector<std::string> checked_values(const OptionFacts& option, const std::vector<std::string>& texts) {
    if (option.kind == OptionKind::kValue && texts.size() != 1) throw WrongOption(option.name, "expects one value");
    std::vector<std::string> values;
    try {
        for (const std::string& text : texts) {
            if (is_flag(option)) {
                values.push_back(checked_flag(text));
            } else {
                const std::vector<std::string> parts =
                    option.kind == OptionKind::kList ? split(text) : std::vector{text};
                values.insert(values.end(), parts.begin(), parts.end());
            }
        }
        if (is_flag(option)) return values;
        for (std::string& value : values) {
            if (!option.choices.empty()) value = named_choice(option, value);
            check_range(option, value);
        }
    } catch (const std::invalid_argument& error) {
        throw WrongOption(option.name, error.what());
    }
    return values;
}

std::string stamp_text_of(const std::vector<OptionFacts>& options, const GivenOptions& given) {
    std::string text;
    for (const OptionFacts& option : options) {
        const auto found = given.find(option.name);
        if (option.effect != OptionEffect::kResults || found == given.end()) continue;
        text += "--" + option.name;
        for (const std::string& value : checked_values(option, found->second)) text += "=" + value;
        text += ' ';
    }
    return text;
}

std::string value_text(const OptionFacts& option) {
    return option.value.empty() ? names_of(option.choices, "|") : option.value;
}

std::string range_text(const OptionFacts& option) {
    return option.range ? "from " + text_of(option.range->first) + " to " + text_of(option.range->second) : "";
}

std::string help_text(const OptionFacts& option) {
    std::string text = option.help;
    if (!option.value.empty() && !option.choices.empty()) {
        std::string names;
        for (const OptionChoice& choice : option.choices) {
            names += (names.empty() ? ": " : ", ") + choice.name;
            if (!choice.meaning.empty()) names += " (" + choice.meaning + ")";
        }
        text += names;
    }
    if (option.range) text += ", " + range_text(option);
    if (!option.otherwise.empty()) text += " [" + option.otherwise + "]";
    return text;
}

unsigned whole_number_of(const std::string& text) {
    if (const auto number = parsed<unsigned>(text)) return *number;
    throw std::invalid_argument("'" + text + "' is not a whole number");
}

double number_of(const std::string& text) {
    const auto number = parsed<double>(text);
    if (number && std::isfinite(*number)) return *number;
    throw std::invalid_argument("'" + text + "' is not a number");
}

double micrometres_of(const std::string& text) {
    const double micrometres = positive_number_of(text);
    if (micrometres >= kLeastPixelSizeUm) return micrometres;
    throw std::invalid_argument(text + " is no pixel size in micrometres; were millimetres meant? These would be " +
                                text_of(micrometres * kMicrometresPerMillimetre));
}

double positive_number_of(const std::string& text) {
    const double number = number_of(text);
    if (number > 0.0) return number;
    throw std::invalid_argument("'" + text + "' is not a number above 0");
}

}  // namespace Norvane::Host
