// SPDX-License-Identifier: Apache-2.0
/// Options as rows of tables. A row declares an option once: the parser of the command line, its help, the manual page,
/// the completion, the README and the keywords of the Python module are made from it.
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
    kList,        ///< values with commas between; the option may be given several times
    kFlag,        ///< has no value
    kTwoWayFlag,  ///< --NAME and --no-NAME
};

/// kResults: the results depend on it, so it enters the stamps that --resume trusts.
enum class OptionEffect { kResults, kRun };

struct OptionChoice {
    std::string name;
    std::string meaning{};  ///< empty if the help of the option tells
};

struct OptionFacts {
    std::string name;  ///< without the dashes
    char letter = '\0';
    OptionKind kind = OptionKind::kValue;
    OptionEffect effect = OptionEffect::kRun;
    std::string value{};  ///< what stands for the value, such as UM; empty: the choices stand there. FILE and FOLDER
                          ///< are completed as such
    std::vector<OptionChoice> choices{};               ///< empty: any value that `set` takes
    std::optional<std::pair<double, double>> range{};  ///< of a number
    std::string group = "Options";                     ///< heading in the help
    std::string help{};                                ///< a sentence without its full stop
    std::string otherwise{};                           ///< what holds without the option; empty: the opposite
    std::string details{};                             ///< further sentences, for the manual page
    bool is_of_command = false;                        ///< means nothing to a program that calls the run itself
    bool is_of_image = false;                          ///< may be a column of a manifest
};

/// `set` takes one value, of a flag "true" or "false". It throws std::invalid_argument with what is wrong with it.
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

/// The texts that were given for options, by name.
using GivenOptions = std::map<std::string, std::vector<std::string>>;

/// Options that cannot be used. `option` is the name of the one that is wrong; empty: what() says it all.
class WrongOption : public std::invalid_argument {
public:
    WrongOption(std::string name, const std::string& what) : std::invalid_argument(what), option(std::move(name)) {}
    std::string option;
};

/// Whether two words of options are the same but for capitals.
[[nodiscard]] bool is_same_word(std::string_view a, std::string_view b);

/// The values in the texts, each in the range, or one of the choices, in the case of letters that the table has. Throws
/// WrongOption.
[[nodiscard]] std::vector<std::string> checked_values(const OptionFacts& option, const std::vector<std::string>& texts);

/// Sets the options that were given, in the order of the table. Throws WrongOption.
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

/// The options that decide the results and were given, in the order of the table: "--view=mlo --fast=true ". Throws
/// WrongOption.
[[nodiscard]] std::string stamp_text_of(const std::vector<OptionFacts>& options, const GivenOptions& given);

/// "FOLDER" or "left|right"; empty for a flag.
[[nodiscard]] std::string value_text(const OptionFacts& option);
/// "from 1 to 1024"; empty without a range.
[[nodiscard]] std::string range_text(const OptionFacts& option);

/// The help with the choices and the range, and what holds otherwise in brackets.
[[nodiscard]] std::string help_text(const OptionFacts& option);

[[nodiscard]] inline bool is_flag(const OptionFacts& option) {
    return option.kind == OptionKind::kFlag || option.kind == OptionKind::kTwoWayFlag;
}

// For the functions `set`. Each throws std::invalid_argument.
[[nodiscard]] unsigned whole_number_of(const std::string& text);
[[nodiscard]] double number_of(const std::string& text);
[[nodiscard]] double positive_number_of(const std::string& text);
/// A pixel size. What must be millimetres is refused with the question.
[[nodiscard]] double micrometres_of(const std::string& text);

/// Of pairs of name and value.
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
    throw std::invalid_argument("'" + text + "' is no name");
}

}  // namespace Norvane::Host
