// SPDX-License-Identifier: Apache-2.0
#include "export/report_json.h"

#include "export/breast_crop.h"
#include "export/mask_encoding.h"
#include "export/program_version.h"
#include "findings/chest_wall_side.h"
#include "findings/image_rows.h"
#include "findings/noise_choice.h"
#include "findings/status_text.h"
#include "io/dicom/dicom_header.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kMappingSentence =
    "a pixel (x, y) of the source, inside the crop, belongs to a mask when the mask holds column "
    "floor((x - crop.x) * source.pixel_size_um / working.pixel_size_um + 0.5) of row "
    "floor((y - crop.y) * source.pixel_size_um / working.pixel_size_um + 0.5)";
constexpr const char* kRowsSentence = "[y, first, last, first, last, ...] per row of the working grid, both ends in";
constexpr const char* kCocoSentence =
    "run lengths down one column of the working grid after the other, pixels outside and inside the mask in turn, "
    "beginning with those outside; size is [height, width]; uncompressed";
constexpr const char* kShaSentence =
    "of width x height bytes of the working grid, row by row: 1 for a pixel of the mask, 0 for any other";

Json json_of(Masking::MASK_STATUS status) {
    const StatusText& text = text_of(status);
    return {{"number", static_cast<int>(status)}, {"name", text.name}, {"sentence", text.sentence}};
}

Json json_of(const SourceBox& box) {
    return {{"x", box.x}, {"y", box.y}, {"width", box.width}, {"height", box.height}};
}

Json rows_json(Mask& mask) {
    Json rows = Json::array();
    for (const RowRuns& row : rows_of(mask)) {
        Json line = Json::array({row.row});
        for (const ColumnRun& run : row.runs) {
            line.push_back(run.first);
            line.push_back(run.last);
        }
        rows.push_back(std::move(line));
    }
    return rows;
}

Json json_of(Mask& mask, const Image& working) {
    const MaskBitmap bitmap = bitmap_of(mask, working.GetWidth(), working.GetHeight());
    const std::size_t area = area_of(mask);
    return {{"area_pixels", area},
            {"area_mm2", square_millimetres(area, static_cast<double>(working.GetPixelSize()))},
            {"sha256", sha256_of(bitmap)},
            {"coco", {{"size", {bitmap.height, bitmap.width}}, {"counts", coco_counts(bitmap)}}},
            {"rows", rows_json(mask)}};
}

Json json_of(MaskResult& result, const Image& working) {
    Json json = {{"status", json_of(result.status)}};
    json.update(json_of(result.mask, working));
    return json;
}

Json masks_json(MasksResult& masks, const Image& working) {
    return {{"frame", json_of(masks.frame, working)},
            {"breast", json_of(masks.breast, working)},
            {"pectoral", json_of(masks.pectoral, working)},
            {"full", json_of(masks.full, working)},
            {"outer", json_of(masks.outer, working)}};
}

Json json_of(const ContourResult& contour) {
    Json points = Json::array();
    for (std::size_t i = 0; i + 1 < contour.points.size(); i += 2) {
        points.push_back(Json::array({contour.points[i], contour.points[i + 1]}));
    }
    return {{"status", json_of(contour.status)}, {"source", contour.source}, {"points", std::move(points)}};
}

Json laterality_json(const SourceImage& source) {
    if (!source.laterality) return nullptr;
    return {{"value", *source.laterality == Laterality::kLeft ? "left" : "right"}, {"reason", source.laterality_from}};
}

Json settings_json(const ImageAnalysis& analysis) {
    const ImageSettings& settings = analysis.settings;
    return {{"side", {{"value", name_of(settings.side)}, {"reason", settings.side_reason}}},
            {"view", {{"value", name_of(settings.view)}, {"reason", settings.view_reason}}},
            {"laterality", laterality_json(analysis.source)},
            {"noise", {{"value", name_of(settings.noise)}, {"reason", settings.noise_reason}}},
            {"pixel_size_um", {{"value", settings.pixel_size_um}, {"reason", settings.pixel_size_reason}}},
            {"inverted", settings.is_inverted}};
}

// The classes of background noise that were compared before one was taken.
Json trials_json(const ImageAnalysis& analysis) {
    Json trials = Json::array();
    for (const NoiseTrial& trial : analysis.noise_trials) {
        Json measures = Json::object();
        for (const auto& [name, value] : trial.measures) measures[name] = value;
        trials.push_back({{"noise", name_of(trial.noise)},
                          {"status", json_of(trial.status)},
                          {"area_pixels", trial.area},
                          {"measures", std::move(measures)}});
    }
    return trials;
}

// Whether the machine flipped the image before it was stored. The program does not, so masks fit the stored pixels.
Json header_flip_json(const SourceImage& source) {
    if (!source.dicom_header) return nullptr;
    const std::string flip = text_of(*source.dicom_header, DCM_FieldOfViewHorizontalFlip);
    return flip.empty() ? Json(nullptr) : Json(flip);
}

Json geometry_json(ImageAnalysis& analysis) {
    const Image& image = *analysis.prepared.image;
    const SourceImage& source = analysis.source;
    const double pixel_size_um = analysis.settings.pixel_size_um;
    return {{"source", {{"width", source.width}, {"height", source.height}, {"pixel_size_um", pixel_size_um}}},
            {"crop", json_of(analysis.crop)},
            {"crop_reason", analysis.settings.crop_reason},
            {"flip", "none"},
            {"field_of_view_horizontal_flip", header_flip_json(source)},
            {"working",
             {{"width", image.GetWidth()},
              {"height", image.GetHeight()},
              {"pixel_size_um", image.GetPixelSize()},
              {"offset_x", image.GetOffX()},
              {"offset_y", image.GetOffY()}}},
            {"scale", analysis.prepared.scale},
            {"mapping", kMappingSentence},
            {"breast_window", json_of(breast_window(analysis))}};
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
        if (json.is_object()) text += Json(item.key()).dump(-1, ' ', false, Json::error_handler_t::replace) + ": ";
        print(item.value(), inner, text);
        separator = ",\n";
    }
    text += "\n" + indent + (json.is_array() ? "]" : "}");
}

}  // namespace

std::string report_json(const std::string& file, ImageAnalysis& analysis) {
    MasksResult& masks = analysis.masks;
    Json json = {{"file", file},
                 {"program", {{"name", "norvane"}, {"version", program_version()}}},
                 {"format", analysis.source.format},
                 {"encoding", analysis.source.encoding},
                 {"frame", analysis.source.frame},
                 {"frame_count", analysis.source.frame_count},
                 {"status", json_of(masks.full.status)},
                 {"flags", analysis.source.flags},
                 {"warnings", analysis.warnings},
                 {"settings", settings_json(analysis)},
                 {"noise_trials", trials_json(analysis)},
                 {"outline_contrast", analysis.outline_contrast},
                 {"geometry", geometry_json(analysis)},
                 {"encodings", {{"rows", kRowsSentence}, {"coco", kCocoSentence}, {"sha256", kShaSentence}}},
                 {"masks", masks_json(masks, *analysis.prepared.image)}};
    if (masks.contour) json["contour"] = json_of(*masks.contour);
    std::string text;
    print(json, "", text);
    text += "\n";
    return text;
}

}  // namespace Norvane::Host
