// SPDX-License-Identifier: Apache-2.0
// Fills what the tables of options and results say into the documents. It is run when the program is built, and is not
// installed.
//   norvane-documents manual|completion|readme|results|result-schema|summary-schema TEMPLATE RESULT
#include "export/report_json.h"
#include "run/image_record.h"
#include "verbs/verb.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

namespace {

using namespace Norvane::Host;
using Json = nlohmann::ordered_json;

// The text with every `from` replaced by `to`.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::vector<std::string> names_of(const OptionFacts& option) {
    std::vector<std::string> names;
    if (option.letter != '\0') names.push_back(std::string("-") + option.letter);
    names.push_back("--" + option.name);
    if (option.kind == OptionKind::kTwoWayFlag) names.push_back("--no-" + option.name);
    return names;
}

std::string joined(const std::vector<std::string>& parts, const std::string& separator) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : separator) + part;
    return text;
}

// The sentences in the language of manual pages, one per line.
std::string roff(const std::string& sentences) {
    return replaced(replaced(replaced(sentences, "\\", "\\e"), "-", "\\-"), ". ", ".\n");
}

// The text in the font B (bold) or I (italic).
std::string in_font(char font, const std::string& text) {
    std::string set = "\\f";
    set += font;
    return set + roff(text) + "\\fR";
}

std::string manual_entry(const OptionFacts& option) {
    std::vector<std::string> names, choices;
    for (const std::string& name : names_of(option)) names.push_back(in_font('B', name));
    for (const OptionChoice& choice : option.choices) {
        choices.push_back(in_font('B', choice.name));
        if (!choice.meaning.empty()) choices.back().append(" (").append(roff(choice.meaning)).append(")");
    }
    std::ostringstream text;
    text << ".TP\n" << joined(names, ", ");
    if (!is_flag(option)) text << " " << replaced(in_font('I', value_text(option)), "|", "\\fR|\\fI");
    text << "\n" << roff(option.help);
    if (!option.value.empty() && !choices.empty()) text << ":\n" << joined(choices, ",\n");
    if (option.range) text << ", " << range_text(option);
    text << ".\n";
    if (!option.details.empty()) text << roff(option.details) << "\n";
    if (!option.otherwise.empty()) text << "Without it: " << roff(option.otherwise) << ".\n";
    return text.str();
}

std::string readme_row(const OptionFacts& option) {
    std::ostringstream row;
    row << "| `" << joined(names_of(option), "`, `");
    if (!is_flag(option)) row << " " << replaced(value_text(option), "|", "\\|");
    row << "` | " << option.help;
    if (option.range) row << ", " << range_text(option);
    row << " | " << option.otherwise << " |\n";
    return row.str();
}

// What may follow an option: its values, or a word that stands for files, folders or free text.
std::string completion_values(const OptionFacts& option) {
    std::vector<std::string> words;
    if (option.kind == OptionKind::kList) words.emplace_back("//list");
    for (const OptionChoice& choice : option.choices) words.push_back(choice.name);
    if (words.empty())
        words.emplace_back(option.value == "FILE" ? "//file" : option.value == "FOLDER" ? "//folder" : "//own");
    return joined(words, " ");
}

std::string completion_of(const std::string& what) {
    std::string text;
    std::vector<std::string> names;
    for (const Verb& verb : verbs()) {
        names.push_back(verb.name);
        std::vector<std::string> options;
        for (const OptionFacts& option : verb.options) {
            for (const std::string& name : names_of(option)) {
                if (name.starts_with("--")) options.push_back(name);
            }
            if (what == "values" && !is_flag(option)) {
                text += "        " + verb.name + ":--" + option.name + ") echo " + completion_values(option) + " ;;\n";
            }
        }
        if (what == "options") text += "        " + verb.name + ") echo " + joined(options, " ") + " ;;\n";
    }
    return what == "verbs" ? "_norvane_verbs='" + joined(names, " ") + "'\n" : text;
}

std::string entries(const std::string& verb_name, const std::string& group,
                    const std::function<std::string(const OptionFacts&)>& entry) {
    std::string text;
    for (const Verb& verb : verbs()) {
        for (const OptionFacts& option : verb.options) {
            if (verb.name == verb_name && option.group == group) text += entry(option);
        }
    }
    if (text.empty()) throw std::invalid_argument("no options: " + verb_name + " " + group);
    return text;
}

std::string in_code(const std::string& text) { return std::string(1, '`').append(text).append("`"); }

// "text", "list of whole numbers" and so on.
std::string type_text(const Json& type) {
    if (type.contains("const")) return type["const"].dump();
    if (type.contains("$ref")) {
        const auto path = type["$ref"].get<std::string>();
        return in_code(path.substr(path.rfind('/') + 1));
    }
    if (type.contains("anyOf")) return type_text(type["anyOf"][0]) + ", or null";
    if (type.contains("enum")) {
        std::vector<std::string> words;
        for (const Json& word : type["enum"]) words.push_back(in_code(word.get<std::string>()));
        return joined(words, ", ");
    }
    static const std::map<std::string, std::string> kWords = {
        {"string", "text"}, {"integer", "whole number"}, {"boolean", "true or false"}, {"object", "object"}};
    const Json& name = type.at("type");
    if (name == "array") return "list: " + type_text(type["items"]);
    return name.is_string() ? kWords.at(name) : "number";
}

// A row for each member of an object, those of the objects in it below it.
std::string member_rows(const Json& object, const std::string& path) {
    std::string rows;
    for (const auto& [name, type] : object["properties"].items()) {
        rows += "| " + in_code(path + name) + " | " + type_text(type) + " | " + type["description"].get<std::string>() +
                " |\n";
        const Json& inner = type.contains("anyOf") ? type["anyOf"][0] : type.contains("items") ? type["items"] : type;
        const char* in_list = type.contains("items") ? "[]." : ".";
        if (inner.contains("properties")) rows += member_rows(inner, path + name + in_list);
    }
    return rows;
}

// "summary": the columns of the tables; "result": the members of the JSON, or those of one of its definitions.
std::string members_of(const std::string& what, const std::string& definition) {
    const Json schema = what == "summary" ? record_schema() : report_schema();
    const Json& object = definition == "-->" ? schema : schema.at("$defs").at(definition);
    return "| name | type | meaning |\n|---|---|---|\n" + member_rows(object, "");
}

// A line with a mark becomes what the mark asks for: "@options masks Batch@", or "@values@" of the completion. In the
// README and in docs/results.md the marks are comments that stay, and what stands between them and the next comment is
// replaced.
std::string filled(const std::string& kind, std::istream& from) {
    if (kind == "result-schema") return report_schema().dump(2) + "\n";
    if (kind == "summary-schema") return record_schema().dump(2) + "\n";
    const std::string begin = kind == "readme" ? "<!-- options " : "<!-- members ";
    std::string text;
    for (std::string line; std::getline(from, line);) {
        std::istringstream words(line);
        std::string mark, verb, group;
        if (kind == "readme" || kind == "results") {
            text += line + "\n";
            if (!line.starts_with(begin)) continue;
            words.ignore(static_cast<std::streamsize>(begin.size())) >> verb >> group;
            text += kind == "results" ? members_of(verb, group)
                                      : "| option of `" + verb + "` | meaning | without it |\n|---|---|---|\n" +
                                            entries(verb, group, readme_row);
            while (std::getline(from, line) && !line.starts_with("<!--")) {
            }
            text += line + "\n";
        } else if (line.size() > 2 && line.front() == '@' && line.back() == '@') {
            std::istringstream(line.substr(1, line.size() - 2)) >> mark >> verb >> group;
            text += kind == "manual" ? entries(verb, group, manual_entry) : completion_of(mark);
        } else {
            text += line + "\n";
        }
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 4) throw std::invalid_argument("expected KIND TEMPLATE RESULT");
        std::ifstream from(argv[2]);
        const std::string text = filled(argv[1], from);
        if (text.empty()) throw std::invalid_argument(std::string("no text in ") + argv[2]);
        from.close();
        std::ofstream to(argv[3], std::ios::trunc);
        if (!(to << text).flush()) throw std::runtime_error(std::string("cannot write ") + argv[3]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "norvane-documents: " << error.what() << "\n";
        return 1;
    }
}
