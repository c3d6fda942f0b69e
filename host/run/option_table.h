// SPDX-License-Identifier: Apache-2.0
/// Options as rows of tables. Each option is declared once, in its row. From the row come the parser of the command
/// line, the help, the manual page, the completion, the table in the README and the keyword of the Python module.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Norvane::Host {

enum class OptionKind {
    kValue,
    kList,        ///< values separated by commas; the option may be given several times
    kFlag,        ///< has no value
    kTwoWayFlag,  ///< --NAME and --no-NAME
};

/// kResults: the results depend on the option, so the stamps that --resume compares include it.
enum class OptionEffect { kResults, kRun };

struct OptionChoice {
    std::string name;
    std::string meaning{};  ///< empty if the help of the option says it
};

struct OptionFacts {
    std::string name;  ///< without the dashes
    char letter = '\0';
    OptionKind kind = OptionKind::kValue;
    OptionEffect effect = OptionEffect::kRun;
    std::string value{};  ///< the placeholder of the value, such as UM; if it is empty, the choices are shown. FILE and
                          ///< FOLDER are completed as paths
    std::vector<OptionChoice> choices{};               ///< if it is empty, any value that `set` accepts
    std::optional<std::pair<double, double>> range{};  ///< the smallest and the largest number
    std::string group = "Options";                     ///< its heading in the help
    std::string help{};                                ///< a sentence without its full stop
    std::string otherwise{};                           ///< what applies without the option; empty: the opposite
    std::string details{};                             ///< further sentences, for the manual page
    bool is_of_command = false;                        ///< only for the command, not for a program that calls the run
    bool is_of_image = false;                          ///< may be a column of a manifest
};

/// `set` takes one value; that of a flag is "true" or "false". If the value is wrong, it throws std::invalid_argument
/// that says why.
template <class Options>
struct Option {
    OptionFacts facts;
    std::function<void(Options& options, const std::string& value)> set;
};
template <class Options>
using OptionTable = std::vector<Option<Options>>;

template <class Options>
[[nodiscard]] std::vector<OptionFacts> facts_of(const OptionTable<Options>& table) {
    std::vector<OptionFacts> facts;
    for (const Option<Options>& option : table) facts.push_back(option.facts);
    return facts;
}

/// The values that were given for each option, by its name.
using GivenOptions = std::map<std::string, std::vector<std::string>>;

/// An option is wrong. `option` is its name; if it is empty, what() says everything.
class WrongOption : public std::invalid_argument {
public:
    WrongOption(std::string name, const std::string& what) : std::invalid_argument(what), option(std::move(name)) {}
    std::string option;
};

/// Whether two words of options are the same but for capitals.
[[nodiscard]] bool is_same_word(std::string_view a, std::string_view b);

/// Splits the texts into values, checks them against the choices and the range, and gives choices the letters that the
/// table has. Throws WrongOption.
[[nodiscard]] std::vector<std::string> checked_values(const OptionFacts& option, const std::vector<std::string>& texts);

/// Sets the given options in the order of the table. Throws WrongOption.
template <class Options>
void set_options(Options& options, const OptionTable<Options>& table, const GivenOptions& given) {
    for (const Option<Options>& option : table) {
        const auto found = given.find(option.facts.name);
        if (found == given.end()) continue;
        for (const std::string& value : checked_values(option.facts, found->second)) {
            try {
                option.set(options, value);
            } catch (const std::invalid_argument& error) {
                throw WrongOption(option.facts.name, error.what());
            }
        }
    }
}

/// The given options that the results depend on, in the order of the table: "--view=mlo --fast=true ". Throws
/// WrongOption.
[[nodiscard]] std::string stamp_text_of(const std::vector<OptionFacts>& options, const GivenOptions& given);

/// The value in the help, such as "FOLDER" or "left|right"; empty for a flag.
[[nodiscard]] std::string value_text(const OptionFacts& option);
/// The range, such as "from 1 to 1024"; empty if there is none.
[[nodiscard]] std::string range_text(const OptionFacts& option);

/// The help with the choices and the range, and in brackets what applies without the option.
[[nodiscard]] std::string help_text(const OptionFacts& option);

[[nodiscard]] inline bool is_flag(const OptionFacts& option) {
    return option.kind == OptionKind::kFlag || option.kind == OptionKind::kTwoWayFlag;
}

// Conversions for the functions `set`. Each throws std::invalid_argument.
[[nodiscard]] unsigned whole_number_of(const std::string& text);
[[nodiscard]] double number_of(const std::string& text);
[[nodiscard]] double positive_number_of(const std::string& text);
/// A pixel size. What must be millimetres is refused with the question.
[[nodiscard]] double micrometres_of(const std::string& text);

/// The choices from pairs of name and value.
template <class NamedValues>
[[nodiscard]] std::vector<OptionChoice> choices_of(const NamedValues& named) {
    std::vector<OptionChoice> choices;
    for (const auto& [name, value] : named) choices.push_back({name});
    return choices;
}
template <class NamedValues>
[[nodiscard]] auto value_named(const NamedValues& named, const std::string& text) {
    for (const auto& [name, value] : named) {
        if (text == name) return value;
    }
    throw std::invalid_argument("'" + text + "' is not a known name");
}

}  // namespace Norvane::Host
