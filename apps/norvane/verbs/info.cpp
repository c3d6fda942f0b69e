// SPDX-License-Identifier: Apache-2.0
#include "export/fact_json.h"
#include "findings/findings.h"
#include "io/number_text.h"
#include "io/printable.h"
#include "io/read_image.h"
#include "io/refusal.h"
#include "run/exit_code.h"
#include "run/inputs.h"
#include "run/reading_options.h"
#include "run/run_options.h"
#include "verbs/verb.h"

#include <algorithm>
#include <exception>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <utility>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

struct InfoOptions {
    ReadOptions reading;
    AnalysisOptions analysis;
    bool shows_doubt = false;
    bool is_json = false;  // print an array with one object for each file that could be read
};

// The options of runs that fill the gaps of headers, for the analysis.
OptionTable<InfoOptions> gap_options() {
    OptionTable<InfoOptions> options;
    for (const Option<RunOptions>& option : run_option_table()) {
        if (!option.facts.name.starts_with("default-")) continue;
        options.push_back({option.facts, [set = option.set](InfoOptions& given, const std::string& text) {
                               RunOptions run;
                               run.analysis = given.analysis;
                               set(run, text);
                               given.analysis = run.analysis;
                           }});
        options.back().facts.help += ", with --doubt";
        options.back().facts.otherwise = "the doubt of such an image is not shown";
    }
    return options;
}

OptionTable<InfoOptions> info_options() {
    OptionTable<InfoOptions> options = {
        frame_option<InfoOptions>(OptionEffect::kRun),
        modality_option<InfoOptions>(OptionEffect::kRun),
        memory_option<InfoOptions>("Options"),
        decode_option<InfoOptions>("Options"),
        {{.name = "format",
          .choices = {{"text"}, {"json"}},
          .help = "Report on standard output: text, or a JSON array with one object per file",
          .otherwise = "text"},
         [](InfoOptions& given, const std::string& text) { given.is_json = text == "json"; }},
        {{.name = "doubt",
          .kind = OptionKind::kFlag,
          .help = "Make the masks too, and show their status and how doubtful they are",
          .otherwise = "only the metadata is shown"},
         [](InfoOptions& given, const std::string& text) { given.shows_doubt = text == "true"; }}};
    for (Option<InfoOptions>& option : gap_options()) options.push_back(std::move(option));
    for (Option<InfoOptions>& option : identifier_options<InfoOptions>(OptionEffect::kRun, "Options")) {
        options.push_back(std::move(option));
    }
    return options;
}

/// One line of the report.
struct Line {
    const char* name;  ///< the name in JSON; in the text, underscores become spaces
    Json value;        ///< null if the file does not say it
    std::string from;  ///< the field that says it; if there is no value, what applies then
};

template <class Value>
Line line_of(const FactDeclaration& fact, const Value& value) {
    return {fact.name, fact_json(value), {}};
}
template <class Value>
Line line_of(const FactDeclaration& fact, const Said<Value>& said) {
    if (!said) return {fact.name, nullptr, fact.otherwise};
    return {fact.name, fact_json(said->value), said->from};
}

std::vector<Line> lines_of(const Header& header) {
    std::vector<Line> lines;
    visit_facts(header,
                [&lines](const FactDeclaration& fact, const auto& value) { lines.push_back(line_of(fact, value)); });
    return lines;
}

void add_doubt(std::vector<Line>& lines, SourceImage image, const std::string& file, const InfoOptions& options) {
    AnalysisOptions analysis = options.analysis;
    analysis.image_memory = options.reading.image_memory;
    const Findings findings = analyse(std::move(image), analysis, file);
    lines.push_back({"status", static_cast<int>(findings.masks.full.status), {}});
    lines.push_back({"breast_doubt", findings.doubt.breast, {}});
    lines.push_back({"muscle_doubt", findings.doubt.muscle, {}});
}

std::string text_of(const Json& value) {
    if (value.is_string()) return value.get<std::string>().empty() ? "none" : value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_number_float()) return number_text(value.get<double>());
    if (!value.is_array()) return value.is_null() ? "not said" : value.dump();
    std::string text;
    for (const Json& entry : value) text += (text.empty() ? "" : ", ") + text_of(entry);
    return text.empty() ? "none" : text;
}

void write_text(const std::string& file, const std::vector<Line>& lines, std::ostream& out) {
    constexpr std::size_t kNameWidth = 20;
    print_line(out, file);
    for (const Line& fact : lines) {
        std::string line = fact.name;
        std::replace(line.begin(), line.end(), '_', ' ');
        line.resize(kNameWidth, ' ');
        line += text_of(fact.value);
        if (!fact.from.empty()) line += " (" + fact.from + ")";
        print_line(out, "    " + line);
    }
}

// If a fact has a source, it becomes an object of value and source.
Json json_of(const std::string& file, const std::vector<Line>& lines) {
    Json object{{"file", file}};
    for (const Line& fact : lines) {
        const bool is_bare = fact.from.empty() || fact.value.is_null();
        object[fact.name] = is_bare ? fact.value : Json{{"value", fact.value}, {"from", fact.from}};
    }
    return object;
}

void write_json(const Json& all, std::ostream& out) {
    std::istringstream lines(all.dump(2, ' ', false, Json::error_handler_t::replace));
    for (std::string line; std::getline(lines, line);) print_line(out, line);
}

// If a walk found a file and it turns out not to be an image, it is skipped, as in `norvane masks`.
int show_facts(const std::vector<std::string>& files, const InfoOptions& options, std::ostream& out,
               std::ostream& err) {
    Json all = Json::array();
    int code = kExitDone;
    const auto refuse = [&](const Input& input, const std::string& why) {
        complain(err, input.file + why);
        code = kExitPartly;
    };
    for (const Input& input : find_inputs({files, {}, {}, {}}).inputs) {
        try {
            if (!input.refusal.empty()) throw Refusal(input.refusal);
            SourceImage image = read_image(input.file, options.reading);
            std::vector<Line> lines = lines_of(image);
            std::string no_doubt;
            try {
                if (options.shows_doubt) add_doubt(lines, std::move(image), input.file, options);
            } catch (const Refusal& refusal) {  // the metadata is shown all the same
                no_doubt = refusal.what();
            }
            if (options.is_json) {
                all.push_back(json_of(input.file, lines));
            } else {
                write_text(input.file, lines, out);
            }
            if (!no_doubt.empty()) refuse(input, " " + no_doubt);
        } catch (const NotAnImage& refusal) {
            if (input.is_named) refuse(input, std::string(" ") + refusal.what());
        } catch (const Refusal& refusal) {
            refuse(input, std::string(" ") + refusal.what());
        } catch (const std::exception& e) {
            refuse(input, std::string(" failed: ") + e.what());
        }
    }
    if (options.is_json) write_json(all, out);
    return code;
}

}  // namespace

Verb info_verb() {
    return {"info",
            "Show the metadata that would be used and where it comes from",
            {"FILE", "Files of any format that masks reads, or folders with such files", true, true},
            facts_of(info_options()),
            [](const std::vector<std::string>& files, const GivenOptions& given) -> Task {
                InfoOptions options;
                set_options(options, info_options(), given);
                return [files, options](std::ostream& out, std::ostream& err) {
                    return show_facts(files, options, out, err);
                };
            }};
}

}  // namespace Norvane::Host
