// SPDX-License-Identifier: Apache-2.0
#include "export/report_json.h"

#include "export/fact_json.h"
#include "export/json_fields.h"
#include "export/mask_encoding.h"
#include "export/program_version.h"
#include "export/source_masks.h"
#include "findings/areas.h"
#include "findings/named_masks.h"
#include "findings/status_text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <utility>

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

// What the tables below share.
const Json kText = type_named("string");
const Json kWhole = type_named("integer");
const Json kNumber = number_type();
const Json kTexts = array_type(kText);

const JsonFields<StatusText>& status_fields() {
    static const JsonFields<StatusText> fields = {
        {"number", kWhole, "0 if the masks can be used", [](const auto& s) { return static_cast<int>(s.status); }},
        {"name", kText, "Name of the status in the library", [](const auto& s) { return s.name; }},
        {"sentence", kText, "What it means", [](const auto& s) { return s.sentence; }}};
    return fields;
}
Json json_of(Masking::MASK_STATUS status) { return object_of(status_fields(), text_of(status)); }

const JsonFields<SourceBox>& box_fields() {
    static const JsonFields<SourceBox> fields = {
        {"x", kWhole, "First column", [](const auto& box) { return box.x; }},
        {"y", kWhole, "First row", [](const auto& box) { return box.y; }},
        {"width", kWhole, "Columns", [](const auto& box) { return box.width; }},
        {"height", kWhole, "Rows", [](const auto& box) { return box.height; }}};
    return fields;
}
Json json_of(const SourceBox& box) { return object_of(box_fields(), box); }

/// A mask on its grid; the outer contour has no status.
struct MaskOnGrid {
    const Region& region;
    const Masking::MASK_STATUS* status;
    double pixel_size_um;
    MaskBitmap bitmap;
};

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

const JsonFields<MaskBitmap>& coco_fields() {
    static const JsonFields<MaskBitmap> fields = {
        {"size", array_type(kWhole), "Rows and columns",
         [](const auto& m) {
             return Json{m.height, m.width};
         }},
        {"counts", array_type(kWhole), "Run lengths", [](const auto& m) { return coco_counts(m); }}};
    return fields;
}

const JsonFields<MaskOnGrid>& mask_fields() {
    static const JsonFields<MaskOnGrid> fields = {
        {"status", type_defined("status"), "How the search for it ended; the outer contour has none",
         [](const auto& mask) { return mask.status != nullptr ? json_of(*mask.status) : Json(nullptr); },
         Presence::kIfKnown},
        {"area_pixels", kWhole, "Pixels of the working grid", [](const auto& mask) { return mask.region.area(); }},
        {"area_mm2", kNumber, "The same in square millimetres",
         [](const auto& mask) { return square_millimetres(mask.region.area(), mask.pixel_size_um); }},
        {"sha256", kText, "Digest of the mask, see encodings", [](const auto& mask) { return sha256_of(mask.bitmap); }},
        {"coco", type_of_object(coco_fields()), "The mask as COCO has it, see encodings",
         [](const auto& mask) { return object_of(coco_fields(), mask.bitmap); }},
        {"rows", array_type(array_type(kWhole)), "The mask row by row, see encodings",
         [](const auto& mask) { return rows_json(mask.region); }}};
    return fields;
}
Json mask_json(const Findings& findings, const NamedMask& named) {
    const Image& image = findings.working_image();
    const Region& region = named.region_of(findings.masks);
    const MaskOnGrid mask{region, named.status_of != nullptr ? named.status_of(findings.masks) : nullptr,
                          static_cast<double>(image.GetPixelSize()),
                          region.bitmap(image.GetWidth(), image.GetHeight())};
    return object_of(mask_fields(), mask);
}

JsonFields<Findings> masks_fields() {
    JsonFields<Findings> fields;
    for (const NamedMask& mask : kNamedMasks) {
        fields.push_back(
            {mask.name, type_defined("mask"), mask.meaning, [mask](const Findings& f) { return mask_json(f, mask); }});
    }
    return fields;
}

Json points_json(const FoundContour& contour) {
    Json points = Json::array();
    for (std::size_t i = 0; i + 1 < contour.points.size(); i += 2) {
        points.push_back(Json::array({contour.points[i], contour.points[i + 1]}));
    }
    return points;
}

const JsonFields<FoundContour>& contour_fields() {
    static const JsonFields<FoundContour> fields = {
        {"status", type_defined("status"), "How its search ended", [](const auto& c) { return json_of(c.status); }},
        {"source", kText, "How the points were made", [](const auto& c) { return c.source; }},
        {"points", array_type(array_type(kWhole)), "Columns and rows of the working grid",
         [](const auto& c) { return points_json(c); }}};
    return fields;
}

template <class Value>
Json with_reason(const Sourced<Value>& setting) {
    return {{"value", fact_json(setting.value)}, {"reason", setting.from}};
}
template <class Value>
Json with_reason(const Said<Value>& said) {
    return said ? with_reason(*said) : Json(nullptr);
}
Json type_with_reason(const Json& type) {
    return type_of_object(
        JsonFields<int>{{"value", type, "What was used", {}}, {"reason", kText, "What it was taken from", {}}});
}

const JsonFields<Findings>& settings_fields() {
    static const JsonFields<Findings> fields = {
        {"side", type_with_reason(word_type(kSideWords)), "Border of the image at which the chest wall lies",
         [](const auto& f) { return with_reason(f.settings.side); }},
        {"view", type_with_reason(word_type(kViewWords)), "mlo with pectoral muscle, cc without",
         [](const auto& f) { return with_reason(f.settings.view); }},
        {"laterality", or_null(type_with_reason(word_type(kLateralityWords))),
         "Which breast it is; null if the file does not say it",
         [](const auto& f) { return with_reason(f.source.laterality); }},
        {"noise", type_with_reason(word_type(kNoiseNames)), "Noise class of the background",
         [](const auto& f) { return with_reason(f.settings.noise); }},
        {"pixel_size_um", type_with_reason(kNumber), "Pixel size of the image in micrometres",
         [](const auto& f) { return with_reason(f.settings.pixel_size_um); }},
        {"inverted", type_named("boolean"), "Whether tissue is dark on a bright background",
         [](const auto& f) { return f.settings.is_inverted; }}};
    return fields;
}

Json measures_json(const NoiseTrial& trial) {
    Json measures = Json::object();
    for (const auto& [name, value] : trial.measures) measures[name] = value;
    return measures;
}

const JsonFields<NoiseTrial>& trial_fields() {
    static const Json kMeasures = {{"type", "object"}, {"additionalProperties", kNumber}};
    static const JsonFields<NoiseTrial> fields = {
        {"noise", word_type(kNoiseNames), "The noise class", [](const auto& t) { return name_of(t.noise); }},
        {"status", type_defined("status"), "Status of its breast mask",
         [](const auto& t) { return json_of(t.status); }},
        {"area_pixels", kWhole, "Pixels of its breast mask", [](const auto& t) { return t.area; }},
        {"measures", kMeasures, "What the choice was made by", [](const auto& t) { return measures_json(t); }}};
    return fields;
}
Json trials_json(const Findings& findings) {
    Json trials = Json::array();
    for (const NoiseTrial& trial : findings.noise_trials) trials.push_back(object_of(trial_fields(), trial));
    return trials;
}

const JsonFields<Doubt>& doubt_fields() {
    static const JsonFields<Doubt> fields = {
        {"breast", kNumber, "Of the breast, from 0 to 1; above 0.5 it should be looked at",
         [](const auto& doubt) { return doubt.breast; }},
        {"muscle", kNumber, "The same of the muscle", [](const auto& doubt) { return doubt.muscle; }}};
    return fields;
}

JsonFields<Findings> area_fields() {
    JsonFields<Findings> fields;
    for (const AreaDeclaration& area : kAreas) {
        fields.push_back({area.name, kNumber, area.meaning,
                          [area](const Findings& findings) { return Json(areas_of(findings).*area.value); }});
    }
    return fields;
}

JsonFields<Findings> header_fields() {
    JsonFields<Findings> fields;
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        fields.push_back({kTextFacts[i].name, or_null(type_with_reason(kText)), kTextFacts[i].meaning,
                          [i](const Findings& findings) { return with_reason(findings.source.texts[i]); }});
    }
    return fields;
}

const JsonFields<Findings>& source_size_fields() {
    static const JsonFields<Findings> fields = {
        {"width", kWhole, "Columns", [](const auto& f) { return f.source.width; }},
        {"height", kWhole, "Rows", [](const auto& f) { return f.source.height; }},
        {"pixel_size_um", kNumber, "Micrometres", [](const auto& f) { return f.settings.pixel_size_um.value; }}};
    return fields;
}

const JsonFields<Image>& working_fields() {
    static const JsonFields<Image> fields = {
        {"width", kWhole, "Columns", [](const auto& image) { return image.GetWidth(); }},
        {"height", kWhole, "Rows", [](const auto& image) { return image.GetHeight(); }},
        {"pixel_size_um", kNumber, "Micrometres", [](const auto& image) { return image.GetPixelSize(); }},
        {"offset_x", kWhole, "Offset of the prepared image", [](const auto& image) { return image.GetOffX(); }},
        {"offset_y", kWhole, "Offset of the prepared image", [](const auto& image) { return image.GetOffY(); }}};
    return fields;
}

const JsonFields<Findings>& geometry_fields() {
    static const Json kBox = type_defined("box");
    static const JsonFields<Findings> fields = {
        {"source", type_of_object(source_size_fields()), "The image as the file holds it",
         [](const auto& f) { return object_of(source_size_fields(), f); }},
        {"crop", kBox, "The part that was prepared: the film area, or all",
         [](const auto& f) { return json_of(f.crop()); }},
        {"crop_reason", kText, "Why it was cut out", [](const auto& f) { return f.settings.crop.from; }},
        {"flip", kText, "What was flipped before the search: always none", [](const auto&) { return "none"; }},
        {"field_of_view_horizontal_flip", or_null(kText),
         "Whether the machine flipped the image before it was stored; masks fit the stored pixels",
         [](const auto& f) { return f.source.horizontal_flip.empty() ? Json() : Json(f.source.horizontal_flip); }},
        {"working", type_of_object(working_fields()), "The working grid, on which the masks lie",
         [](const auto& f) { return object_of(working_fields(), f.working_image()); }},
        {"scale", kNumber, "Pixels of the working grid for each one of the source",
         [](const auto& f) { return f.prepared.scale; }},
        {"mapping", kText, "The way from a pixel of the source to one of a mask",
         [](const auto&) { return kMappingSentence; }},
        {"breast_window", kBox, "Smallest box of the source around breast and muscle",
         [](const auto& f) { return json_of(breast_window(f)); }}};
    return fields;
}

const JsonFields<Findings>& program_fields() {
    static const JsonFields<Findings> fields = {
        {"name", kText, "norvane", [](const auto&) { return "norvane"; }},
        {"version", kText, "Its version", [](const auto&) { return program_version(); }}};
    return fields;
}
const JsonFields<Findings>& encoding_fields() {
    static const JsonFields<Findings> fields = {
        {"rows", kText, "How rows hold a mask", [](const auto&) { return kRowsSentence; }},
        {"coco", kText, "How coco holds it", [](const auto&) { return kCocoSentence; }},
        {"sha256", kText, "What the digest is made of", [](const auto&) { return kShaSentence; }}};
    return fields;
}

// What the image is and what is said about it, before the masks.
JsonFields<Findings> image_fields() {
    return {
        {"schema",
         {{"const", kReportSchema}},
         "Version of this form: it grows if a member changes its meaning",
         [](const auto&) { return kReportSchema; }},
        {"file", kText, "The image, as it was named or found in a folder", [](const auto& f) { return f.file; }},
        {"program", type_of_object(program_fields()), "What made this",
         [](const auto& f) { return object_of(program_fields(), f); }},
        {"format", kText, "Format of the file, such as PNG", [](const auto& f) { return f.source.format; }},
        {"encoding", kText, "How a DICOM object holds its pixels; empty for other formats",
         [](const auto& f) { return f.source.encoding; }},
        {"frame", kWhole, "Which frame or page of the file this is, from 1",
         [](const auto& f) { return f.source.frame; }},
        {"frame_count", kWhole, "Frames or pages that the file holds",
         [](const auto& f) { return f.source.frame_count; }},
        {"status", type_defined("status"), "The verdict on the image: the status of the full mask",
         [](const auto& f) { return json_of(f.masks.full.status); }},
        {"flags", kTexts, "What is special about the view, a word each, such as spot or implant",
         [](const auto& f) { return f.source.flags; }},
        {"warnings", kTexts, "What should be looked at, a sentence each", [](const auto& f) { return f.warnings; }}};
}

// What was used and found.
JsonFields<Findings> result_fields() {
    return {{"settings", type_of_object(settings_fields()), "What was used, and what it was taken from",
             [](const auto& f) { return object_of(settings_fields(), f); }},
            {"noise_trials", array_type(type_of_object(trial_fields())),
             "Noise classes that were compared before one was taken; empty if none was",
             [](const auto& f) { return trials_json(f); }},
            {"outline_contrast", kNumber,
             "Mean step of the logarithm of the grey level across the outline of the breast; 0 without an outline",
             [](const auto& f) { return f.outline_contrast; }},
            {"doubt", type_of_object(doubt_fields()), "How far not to trust the masks",
             [](const auto& f) { return object_of(doubt_fields(), f.doubt); }},
            {"areas", type_of_object(area_fields()), "How large breast and muscle are",
             [](const auto& f) { return object_of(area_fields(), f); }},
            {"geometry", type_of_object(geometry_fields()), "How source and working grid lie on each other",
             [](const auto& f) { return object_of(geometry_fields(), f); }},
            {"encodings", type_of_object(encoding_fields()), "How masks are written below",
             [](const auto& f) { return object_of(encoding_fields(), f); }},
            {"masks", type_of_object(masks_fields()), "The masks on the working grid",
             [](const auto& f) { return object_of(masks_fields(), f); }},
            {"header", type_of_object(header_fields()), "Texts of the header; null if they were not said or not read",
             [](const auto& f) { return object_of(header_fields(), f); }},
            {"contour", type_of_object(contour_fields()), "The outline of the breast as points, unless --no-contour",
             [](const auto& f) { return f.masks.contour ? object_of(contour_fields(), *f.masks.contour) : Json(); },
             Presence::kIfKnown}};
}

const JsonFields<Findings>& report_fields() {
    static const JsonFields<Findings> fields = [] {
        JsonFields<Findings> all = image_fields();
        for (JsonField<Findings>& field : result_fields()) all.push_back(std::move(field));
        return all;
    }();
    return fields;
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
    std::string text;
    print(object_of(report_fields(), findings), "", text);
    text += "\n";
    return text;
}

nlohmann::ordered_json report_schema() {
    Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                   {"$id", "urn:norvane:result:" + std::to_string(kReportSchema)},
                   {"title", "Result of norvane masks for one image, NAME.json"}};
    schema.update(type_of_object(report_fields()));
    schema["$defs"] = {{"status", type_of_object(status_fields())},
                       {"box", type_of_object(box_fields())},
                       {"mask", type_of_object(mask_fields())}};
    return schema;
}

}  // namespace Norvane::Host
