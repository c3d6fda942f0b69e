// SPDX-License-Identifier: Apache-2.0
#include "results/report_json.h"

#include "analysis/chest_wall_side.h"
#include "analysis/image_rows.h"
#include "analysis/noise_choice.h"
#include "analysis/status_text.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

Json json_of(Masking::MASK_STATUS status) {
    const StatusText& text = text_of(status);
    return {{"number", static_cast<int>(status)}, {"name", text.name}, {"sentence", text.sentence}};
}

Json json_of(Mask& mask) {
    Json rows = Json::array();
    for (const RowRuns& row : rows_of(mask)) {
        Json line = Json::array({row.row});
        for (const ColumnRun& run : row.runs) {
            line.push_back(run.first);
            line.push_back(run.last);
        }
        rows.push_back(std::move(line));
    }
    return {{"area_pixels", area_of(mask)}, {"rows", std::move(rows)}};
}

Json json_of(MaskResult& result) {
    Json json = {{"status", json_of(result.status)}};
    json.update(json_of(result.mask));
    return json;
}

Json json_of(const ContourResult& contour) {
    Json points = Json::array();
    for (std::size_t i = 0; i + 1 < contour.points.size(); i += 2) {
        points.push_back(Json::array({contour.points[i], contour.points[i + 1]}));
    }
    return {{"status", json_of(contour.status)}, {"source", contour.source}, {"points", std::move(points)}};
}

Json settings_json(const ImageSettings& settings) {
    return {{"side", {{"value", name_of(settings.side)}, {"reason", settings.side_reason}}},
            {"view", {{"value", name_of(settings.view)}, {"reason", settings.view_reason}}},
            {"noise", {{"value", name_of(settings.noise)}, {"reason", settings.noise_reason}}},
            {"pixel_size_um", {{"value", settings.pixel_size_um}, {"reason", settings.pixel_size_reason}}},
            {"inverted", settings.is_inverted}};
}

Json geometry_json(const SourceImage& source, const ImageSettings& settings, const PreparedImage& prepared) {
    const Image& image = *prepared.image;
    return {{"source", {{"width", source.width}, {"height", source.height}, {"pixel_size_um", settings.pixel_size_um}}},
            {"working",
             {{"width", image.GetWidth()},
              {"height", image.GetHeight()},
              {"pixel_size_um", image.GetPixelSize()},
              {"offset_x", image.GetOffX()},
              {"offset_y", image.GetOffY()}}},
            {"scale", prepared.scale}};
}

// Indented as usual, but arrays of numbers on one line: a mask has hundreds of rows.
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
        if (json.is_object()) text += Json(item.key()).dump() + ": ";
        print(item.value(), inner, text);
        separator = ",\n";
    }
    text += "\n" + indent + (json.is_array() ? "]" : "}");
}

}  // namespace

std::string report_json(const std::string& file, ImageAnalysis& analysis) {
    MasksResult& masks = analysis.masks;
    Json json = {{"file", file},
                 {"format", analysis.source.format},
                 {"status", json_of(masks.full.status)},
                 {"settings", settings_json(analysis.settings)},
                 {"geometry", geometry_json(analysis.source, analysis.settings, analysis.prepared)},
                 {"masks",
                  {{"frame", json_of(masks.frame)},
                   {"breast", json_of(masks.breast)},
                   {"pectoral", json_of(masks.pectoral)},
                   {"full", json_of(masks.full)},
                   {"outer", json_of(masks.outer)}}}};
    if (masks.contour) json["contour"] = json_of(*masks.contour);
    std::string text;
    print(json, "", text);
    text += "\n";
    return text;
}

}  // namespace Norvane::Host
