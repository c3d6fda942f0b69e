// SPDX-License-Identifier: Apache-2.0
#include "export/report_json.h"

#include "export/breast_crop.h"
#include "export/fact_json.h"
#include "export/mask_encoding.h"
#include "export/program_version.h"
#include "findings/areas.h"
#include "findings/status_text.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kMappingSentence =
    "a pixel (x, y) of the source inside the crop belongs to a mask if the mask holds column "
    "floor((x - crop.x) * source.pixel_size_um / working.pixel_size_um + 0.5) of row "
    "floor((y - crop.y) * source.pixel_size_um / working.pixel_size_um + 0.5); columns and rows after the last one of "
    "the working grid count as that one, and the last column and row of the crop lie on it";
constexpr const char* kRowsSentence = "[y, first, last, first, last, ...] per row of the working grid, both ends in";
constexpr const char* kCocoSentence =
    "uncompressed run lengths down one column of the working grid after another, alternately of pixels outside and "
    "inside the mask, beginning with those outside; size is [height, width]";
constexpr const char* kShaSentence =
    "of width x height bytes of the working grid, row by row: 1 for a pixel of the mask, 0 for any other";

Json json_of(Masking::MASK_STATUS status) {
    const StatusText& text = text_of(status);
    return {{"number", static_cast<int>(status)}, {"name", text.name}, {"sentence", text.sentence}};
}

Json json_of(const SourceBox& box) {
    return {{"x", box.x}, {"y", box.y}, {"width", box.width}, {"height", box.height}};
}

Json rows_json(const Region& region) {
    Json rows = Json::array();
    for (const RowRuns& row : region.rows()) {
        Json line = Json::array({row.row});
        for (const ColumnRun& run : row.runs) {
            line.push_back(run.first);
            line.push_back(run.last);
        }
        rows.push_back(std::move(line));
    }
    return rows;
}

Json json_of(const Region& region, const Image& working) {
    const MaskBitmap bitmap = region.bitmap(working.GetWidth(), working.GetHeight());
    const std::size_t area = region.area();
    return {{"area_pixels", area},
            {"area_mm2", square_millimetres(area, static_cast<double>(working.GetPixelSize()))},
            {"sha256", sha256_of(bitmap)},
            {"coco", {{"size", {bitmap.height, bitmap.width}}, {"counts", coco_counts(bitmap)}}},
            {"rows", rows_json(region)}};
}

Json json_of(const FoundMask& mask, const Image& working) {
    Json json = {{"status", json_of(mask.status)}};
    json.update(json_of(mask.region, working));
    return json;
}

Json areas_json(const Findings& findings) {
    const BreastAreas areas = areas_of(findings);
    Json json;
    for (const AreaDeclaration& area : kAreas) json[area.name] = areas.*area.value;
    return json;
}

Json masks_json(const FoundMasks& masks, const Image& working) {
    return {{"frame", json_of(masks.frame, working)},
            {"breast", json_of(masks.breast, working)},
            {"pectoral", json_of(masks.pectoral, working)},
            {"full", json_of(masks.full, working)},
            {"outer", json_of(masks.outer, working)}};
}

Json json_of(const FoundContour& contour) {
    Json points = Json::array();
    for (std::size_t i = 0; i + 1 < contour.points.size(); i += 2) {
        points.push_back(Json::array({contour.points[i], contour.points[i + 1]}));
    }
    return {{"status", json_of(contour.status)}, {"source", contour.source}, {"points", std::move(points)}};
}

template <class Value>
Json with_reason(const Sourced<Value>& setting) {
    return {{"value", fact_json(setting.value)}, {"reason", setting.from}};
}

Json header_json(const Header& header) {
    Json texts = Json::object();
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        texts[kTextFacts[i].name] = header.texts[i] ? with_reason(*header.texts[i]) : Json(nullptr);
    }
    return texts;
}

Json settings_json(const Findings& findings) {
    const ImageSettings& settings = findings.settings;
    const Said<Laterality>& laterality = findings.source.laterality;
    return {{"side", with_reason(settings.side)},
            {"view", with_reason(settings.view)},
            {"laterality", laterality ? with_reason(*laterality) : Json(nullptr)},
            {"noise", with_reason(settings.noise)},
            {"pixel_size_um", with_reason(settings.pixel_size_um)},
            {"inverted", settings.is_inverted}};
}

// The noise classes that were compared before one was chosen.
Json trials_json(const Findings& findings) {
    Json trials = Json::array();
    for (const NoiseTrial& trial : findings.noise_trials) {
        Json measures = Json::object();
        for (const auto& [name, value] : trial.measures) measures[name] = value;
        trials.push_back({{"noise", name_of(trial.noise)},
                          {"status", json_of(trial.status)},
                          {"area_pixels", trial.area},
                          {"measures", std::move(measures)}});
    }
    return trials;
}

// Whether the machine flipped the image before it was stored. The program does not undo this, so the masks fit the
// stored pixels.
Json header_flip_json(const SourceImage& source) {
    return source.horizontal_flip.empty() ? Json(nullptr) : Json(source.horizontal_flip);
}

Json geometry_json(const Findings& findings) {
    const Image& image = findings.working_image();
    const SourceImage& source = findings.source;
    const double pixel_size_um = findings.settings.pixel_size_um.value;
    return {{"source", {{"width", source.width}, {"height", source.height}, {"pixel_size_um", pixel_size_um}}},
            {"crop", json_of(findings.crop())},
            {"crop_reason", findings.settings.crop.from},
            {"flip", "none"},
            {"field_of_view_horizontal_flip", header_flip_json(source)},
            {"working",
             {{"width", image.GetWidth()},
              {"height", image.GetHeight()},
              {"pixel_size_um", image.GetPixelSize()},
              {"offset_x", image.GetOffX()},
              {"offset_y", image.GetOffY()}}},
            {"scale", findings.prepared.scale},
            {"mapping", kMappingSentence},
            {"breast_window", json_of(breast_window(findings))}};
}

// Indents as usual, but writes arrays of numbers on one line, because a mask has hundreds of rows.
void print(const Json& json, const std::string& indent, std::string& text) {
    const bool is_short_array =
        json.is_array() && std::ranges::all_of(json, [](const Json& item) { return item.is_primitive(); });
    if (json.is_primitive() || json.empty() || is_short_array) {
        text += json.dump(-1, ' ', false, Json::error_handler_t::replace);
        return;
    }
    const std::string inner = indent + "  ";
    text += json.is_array() ? "[" : "{";
    const char* separator = "\n";
    for (const auto& item : json.items()) {
        text += separator + inner;
        if (json.is_object()) text += Json(item.key()).dump(-1, ' ', false, Json::error_handler_t::replace) + ": ";
        print(item.value(), inner, text);
        separator = ",\n";
    }
    text += "\n" + indent + (json.is_array() ? "]" : "}");
}

}  // namespace

std::string report_json(const Findings& findings) {
    const FoundMasks& masks = findings.masks;
    Json json = {{"file", findings.file},
                 {"program", {{"name", "norvane"}, {"version", program_version()}}},
                 {"format", findings.source.format},
                 {"encoding", findings.source.encoding},
                 {"frame", findings.source.frame},
                 {"frame_count", findings.source.frame_count},
                 {"status", json_of(masks.full.status)},
                 {"flags", findings.source.flags},
                 {"warnings", findings.warnings},
                 {"settings", settings_json(findings)},
                 {"noise_trials", trials_json(findings)},
                 {"outline_contrast", findings.outline_contrast},
                 {"areas", areas_json(findings)},
                 {"geometry", geometry_json(findings)},
                 {"encodings", {{"rows", kRowsSentence}, {"coco", kCocoSentence}, {"sha256", kShaSentence}}},
                 {"masks", masks_json(masks, findings.working_image())}};
    if (!kTextFacts.empty()) json["header"] = header_json(findings.source);
    if (masks.contour) json["contour"] = json_of(*masks.contour);
    std::string text;
    print(json, "", text);
    text += "\n";
    return text;
}

}  // namespace Norvane::Host
