// SPDX-License-Identifier: Apache-2.0
/// What the program finds in an image, for scripts: samples and facts go in, the JSON of the results and the labels
/// come out.
#include "export/mask_layers.h"
#include "export/report_json.h"
#include "export/source_masks.h"
#include "findings/findings.h"
#include "io/refusal.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

using Json = nlohmann::json;

/// Sets a fact that the file states, as {value, from}. The word of a value is looked up in its table.
template <class Value, class Table>
void take_word(const Json& facts, const char* name, const Table& words, Said<Value>& fact) {
    const auto said = facts.find(name);
    if (said == facts.end()) return;
    const auto value = value_of(words, said->at("value").get<std::string>());
    if (value) fact = Sourced<Value>{*value, said->at("from").get<std::string>()};
}

void take_facts(const Json& facts, SourceImage& image) {
    image.format = facts.at("format");
    image.encoding = facts.value("encoding", "");
    image.frame_count = facts.value("frames", 1U);
    image.used_bits = facts.at("used_bits");
    image.needs_inversion = facts.value("tissue_is_dark", false);
    image.warnings = facts.value("warnings", std::vector<std::string>());
    if (const auto said = facts.find("pixel_size_um"); said != facts.end()) {
        image.pixel_size_um = Sourced<double>{said->at("value"), said->at("from")};
    }
    if (const auto said = facts.find("padding"); said != facts.end()) {
        image.padding = Sourced<PaddingRange>{{said->at("value").at(0), said->at("value").at(1)}, said->at("from")};
    }
    take_word(facts, "view", kViewWords, image.view);
    take_word(facts, "breast", kLateralityWords, image.laterality);
    take_word(facts, "chest_wall_border", kSideWords, image.chest_wall);
    take_word(facts, "noise_class", kNoiseNames, image.noise);
}

AnalysisOptions options_of(const Json& given) {
    AnalysisOptions options;
    if (given.contains("side")) options.side = value_of(kSideWords, given["side"].get<std::string>());
    if (given.contains("view")) options.view = value_of(kViewWords, given["view"].get<std::string>());
    if (given.contains("noise")) options.noise = value_of(kNoiseNames, given["noise"].get<std::string>());
    if (given.contains("pixel_size_um")) options.pixel_size_um = given["pixel_size_um"].get<double>();
    options.is_inverted = given.value("is_inverted", false);
    return options;
}

std::string analysed(const std::uint16_t* samples, const Json& request, std::uint8_t* labels) {
    const Json& facts = request.at("facts");
    SourceImage image;
    set_size(image, facts.at("width"), facts.at("height"));
    image.samples.assign(samples, samples + image.samples.size());
    take_facts(facts, image);
    const AnalysisOptions options = options_of(request.at("options"));
    const Findings findings = analyse(std::move(image), options, request.value("file", ""));
    const LabelImage label_image(findings);
    for (unsigned y = 0; y < label_image.height(); ++y, labels += label_image.width()) {
        label_image.fill_row(y, std::span(labels, label_image.width()));
    }
    return report_json(findings);
}

std::string hexadecimal(const Colour& colour) {
    std::string text = "#";
    for (const double part : {colour.red, colour.green, colour.blue})
        text += fmt::format("{:02x}", std::lround(part * 255));
    return text;
}

std::string layers() {
    Json layers = Json::array();
    for (const MaskLayer& layer : kAllMaskLayers) {
        layers.push_back({{"key", layer.key},
                          {"label", layer.label},
                          {"colour", hexadecimal(layer.colour)},
                          {"line_width", layer.line_width}});
    }
    return layers.dump();
}

}  // namespace
}  // namespace Norvane::Host

extern "C" {

/// Analyses width * height samples. `request` is JSON: {file, facts, options}. Writes a label for each sample. Returns
/// the JSON of the results, or {"refusal": sentence}. The text is valid until the next call.
const char* norvane_web_analyse(const std::uint16_t* samples, const char* request, std::uint8_t* labels);
const char* norvane_web_analyse(const std::uint16_t* samples, const char* request, std::uint8_t* labels) {
    static std::string answer;
    answer.clear();
    answer.shrink_to_fit();
    try {
        answer = Norvane::Host::analysed(samples, nlohmann::json::parse(request), labels);
    } catch (const std::exception& refusal) {
        answer = nlohmann::json{{"refusal", refusal.what()}}.dump();
    }
    return answer.c_str();
}

/// How masks are named and drawn, in the order of drawing: JSON of [{key, label, colour, line_width}].
const char* norvane_web_layers(void);
const char* norvane_web_layers(void) {
    static const std::string layers = Norvane::Host::layers();
    return layers.c_str();
}
}
