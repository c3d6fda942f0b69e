// SPDX-License-Identifier: Apache-2.0
#include "command_line.h"

#include "export/program_version.h"
#include "io/printable.h"
#include "nearest_word.h"
#include "run/exit_code.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <list>
#include <ostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

// A verb in the parser, and the words and options that were given for it.
class VerbParser {
public:
    VerbParser(CLI::App& app, Verb declared)
        : verb(std::move(declared)), parser(app.add_subcommand(verb.name, verb.summary)) {
        CLI::Option* positional = parser->add_option(verb.words.name, words, verb.words.help)->type_name("");
        if (verb.words.are_required) positional->required();
        if (!verb.words.are_many) positional->expected(1);
        for (const OptionFacts& option : verb.options) options.push_back(add(option));
        parser->footer(kExitCodesHelp);
    }
    VerbParser(const VerbParser&) = delete;  // the parser points into this object
    VerbParser& operator=(const VerbParser&) = delete;

    [[nodiscard]] bool is_chosen() const { return parser->parsed(); }
    [[nodiscard]] const std::string& name() const { return verb.name; }
    [[nodiscard]] std::vector<std::string> option_names() const {
        std::vector<std::string> names{"--help"};
        for (const OptionFacts& option : verb.options) names.push_back("--" + option.name);
        return names;
    }

    [[nodiscard]] Task task() const {
        GivenOptions given;
        for (std::size_t i = 0; i < options.size(); ++i) {
            if (options[i]->count() > 0) given[verb.options[i].name] = options[i]->results();
        }
        try {
            return verb.prepare(words, given);
        } catch (const WrongOption& wrong) {
            throw CLI::ValidationError((wrong.option.empty() ? "" : "--" + wrong.option + ": ") + wrong.what());
        }
    }

private:
    CLI::Option* add(const OptionFacts& option) {
        std::string names = "--" + option.name;
        if (option.letter != '\0') names = std::string("-") + option.letter + "," + names;
        if (option.kind == OptionKind::kTwoWayFlag) names += ",!--no-" + option.name;
        const std::string help = help_text(option);
        CLI::Option* added = is_flag(option) ? parser->add_flag(names, help) : parser->add_option(names, help);
        if (option.kind == OptionKind::kList) added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        return added->type_name(value_text(option))->group(option.group);
    }

    Verb verb;
    CLI::App* parser;
    std::vector<std::string> words;
    std::vector<CLI::Option*> options;  // in the same order as verb.options
};

std::string question(const std::string& nearest) {
    return nearest.empty() ? std::string() : "; did you mean " + nearest + "?";
}

// Throws CLI::ValidationError if the first word is not a verb.
void check_verb(const std::vector<std::string>& words, const std::list<VerbParser>& parsers) {
    if (words.empty() || words.front().starts_with('-')) return;
    std::vector<std::string> names{"help", "version"};
    for (const VerbParser& parser : parsers) names.push_back(parser.name());
    const std::string& typed = words.front();
    if (std::ranges::find(names, typed) != names.end()) return;
    std::string nearest = nearest_word(typed, names);
    std::error_code ignored;
    if (nearest.empty() && std::filesystem::exists(typed, ignored)) nearest = "norvane masks " + typed;
    throw CLI::ValidationError("There is no verb " + typed + question(nearest));
}

// If an option is unknown, suggests a similar one, which the parser does not do.
std::string unexpected(const CLI::App& app, const std::list<VerbParser>& parsers, const CLI::ExtrasError& error) {
    std::string text = error.what();
    for (const std::string& extra : app.remaining(true)) {
        for (const VerbParser& parser : parsers) {
            if (!parser.is_chosen() || !extra.starts_with("--")) continue;
            text += question(nearest_word(extra.substr(0, extra.find('=')), parser.option_names()));
            return text;
        }
    }
    return text;
}

// Rewrites "help masks" to "masks --help", and "version" to "--version".
std::vector<std::string> as_options(std::vector<std::string> words) {
    if (words.empty()) return words;
    if (words.front() == "version") words.front() = "--version";
    if (words.front() != "help") return words;
    words.erase(words.begin());
    if (words.empty() || words.front().starts_with('-')) return {"--help"};
    return {words.front(), "--help"};
}

}  // namespace

std::variant<int, Task> parse_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CLI::App app("Norvane: masks of mammograms", "norvane");
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("norvane ") + program_version(), "Print the version and exit");
    app.footer(std::string("norvane help VERB describes a verb, norvane version prints the version.\n\n") +
               kExitCodesHelp);
    app.failure_message([](const CLI::App* of, const CLI::Error& e) {
        return CLI::FailureMessage::simple(of, CLI::Error(e.get_name(), printable(e.what())));  // it quotes arguments
    });
    std::list<VerbParser> parsers;
    for (const Verb& verb : verbs()) parsers.emplace_back(app, verb);
    try {
        std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
        words = as_options(std::move(words));
        check_verb(words, parsers);
        std::ranges::reverse(words);  // the parser takes them from the end
        app.parse(std::move(words));
        for (const VerbParser& parser : parsers) {
            if (parser.is_chosen()) return parser.task();
        }
        return kExitUsage;  // never reached, because a verb is required
    } catch (const CLI::ExtrasError& e) {
        return app.exit(CLI::ValidationError(unexpected(app, parsers, e)), out, err) == 0 ? kExitDone : kExitUsage;
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err) == 0 ? kExitDone : kExitUsage;
    }
}

int run_program(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    try {
        const std::variant<int, Task> parsed = parse_command_line(argc, argv, out, err);
        const Task* task = std::get_if<Task>(&parsed);
        const int code = task != nullptr ? (*task)(out, err) : std::get<int>(parsed);
        if (out.flush()) return code;
        complain(err, "the report cannot be written to standard output");
        return code == kExitDone ? kExitPartly : code;
    } catch (const std::exception& e) {
        complain(err, e.what());
        return kExitPartly;
    }
}

}  // namespace Norvane::Host
