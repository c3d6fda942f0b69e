// SPDX-License-Identifier: Apache-2.0
#include "run/image_record.h"

#include "export/json_fields.h"
#include "findings/status_text.h"
#include "io/number_text.h"
#include "run/csv_text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

/// How a field is shown everywhere.
struct FieldDeclaration {
    const char* name;
    const char* meaning;
    bool is_known_if_refused = false;
};

// The settings. Each is followed by its reason.
template <class Record, class Visitor>
void visit_settings(Record& record, const Visitor& visit) {
    using Field = FieldDeclaration;
    visit(Field{"side", "Border of the image at which the chest wall lies: left or right"}, record.side);
    visit(Field{"side_reason", "Where the side comes from"}, record.reasons.side);
    visit(Field{"laterality", "Which breast it is, left or right; empty if the file does not say it"},
          record.laterality);
    visit(Field{"laterality_reason", "Field of the header that says which breast it is"}, record.reasons.laterality);
    visit(Field{"view", "View: mlo shows the pectoral muscle, cc does not"}, record.view);
    visit(Field{"view_reason", "Where the view comes from"}, record.reasons.view);
    visit(Field{"noise", "Noise class of the background"}, record.noise);
    visit(Field{"noise_reason", "Where the noise class comes from"}, record.reasons.noise);
    visit(Field{"pixel_size_um", "Pixel size of the image in micrometres"}, record.pixel_size_um);
    visit(Field{"pixel_size_reason", "Where the pixel size comes from"}, record.reasons.pixel_size);
}

// Calls `visit` for every field, in the order of the tables.
template <class Record, class Visitor>
void visit_fields(Record& record, const Visitor& visit) {
    using Field = FieldDeclaration;
    visit(Field{"file", "The image, as it was named or found in a folder", true}, record.file);
    visit(Field{"name", "Name of the results: NAME.json and so on, below the folder of the results", true},
          record.name);
    visit(Field{"refusal", "Why there are no results, after the name of the file; empty if there are some", true},
          record.refusal);
    visit(Field{"kept", "Whether the results are those of an earlier run", true}, record.is_kept);
    visit(Field{"status", "Status of the full mask, which is that of the image; 0 if the masks can be used"},
          record.status);
    visit(Field{"breast_status", "Status of the breast mask"}, record.breast_status);
    visit(Field{"pectoral_status", "Status of the mask of the pectoral muscle"}, record.pectoral_status);
    visit(Field{"format", "Format of the file, such as PNG"}, record.format);
    visit(Field{"width", "Columns of the image"}, record.width);
    visit(Field{"height", "Rows of the image"}, record.height);
    visit_settings(record, visit);
    for (const AreaDeclaration& area : kAreas) visit(Field{area.name, area.meaning}, record.areas.*area.value);
    visit(Field{"outline_contrast",
                "Mean step of the logarithm of the grey level across the outline of the breast; 0 "
                "without an outline"},
          record.outline_contrast);
    visit(Field{"breast_doubt", "How doubtful the breast mask is, from 0 to 1; above 0.5 it should be looked at"},
          record.breast_doubt);
    visit(Field{"muscle_doubt", "How doubtful the muscle is, from 0 to 1; above 0.5 it should be looked at"},
          record.muscle_doubt);
    visit(Field{"flags", "What is special about the view, one word each, such as spot or implant"}, record.flags);
    visit(Field{"warnings", "What the user should look at, one sentence each"}, record.warnings);
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        visit(Field{kTextFacts[i].name, kTextFacts[i].meaning}, record.texts[i]);
    }
    visit(Field{"seconds_reading", "Seconds that reading the file took"}, record.seconds.reading);
    visit(Field{"seconds_analysis", "Seconds that preparation and masks took"}, record.seconds.analysis);
    visit(Field{"seconds_writing", "Seconds that the results took"}, record.seconds.writing);
}

Json type_of(const std::string&) { return type_named("string"); }
Json type_of(bool) { return type_named("boolean"); }
Json type_of(unsigned) { return type_named("integer"); }
Json type_of(double) { return number_type(); }
Json type_of(const std::optional<double>&) { return or_null(number_type()); }
Json type_of(Masking::MASK_STATUS) { return type_named("integer"); }
Json type_of(const std::vector<std::string>&) { return array_type(type_named("string")); }

// Values as JSON, nothing as null.
template <class Value>
Json json_of(const Value& value) {
    return value;
}
Json json_of(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }
template <class Value>
void take(const Json& json, Value& value) {
    json.get_to(value);
}
// Somebody may have changed the table of an earlier run. Other numbers must not be converted.
void take(const Json& json, unsigned& value) {
    constexpr std::uint64_t kMost = std::numeric_limits<unsigned>::max();
    if (!json.is_number_unsigned() || json.get<std::uint64_t>() > kMost) throw std::invalid_argument("no whole number");
    value = json.get<unsigned>();
}
void take(const Json& json, Masking::MASK_STATUS& value) {
    unsigned number = 0;
    take(json, number);
    const auto* const known = std::ranges::find_if(
        kStatusTexts, [number](const StatusText& text) { return static_cast<unsigned>(text.status) == number; });
    if (known == kStatusTexts.end()) throw std::invalid_argument("no status");
    value = known->status;
}
void take(const Json& json, std::optional<double>& value) {
    if (json.is_null()) {
        value.reset();
    } else {
        value = json.get<double>();
    }
}

std::string csv_text(const std::string& value) { return csv_field(value); }
std::string csv_text(bool value) { return value ? "1" : "0"; }
std::string csv_text(unsigned value) { return std::to_string(value); }
std::string csv_text(double value) { return number_text(value); }
std::string csv_text(const std::optional<double>& value) { return value ? number_text(*value) : ""; }
std::string csv_text(Masking::MASK_STATUS value) { return std::to_string(static_cast<int>(value)); }
std::string csv_text(const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& value : values) {
        if (!text.empty()) text += "; ";
        text += value;
    }
    return csv_field(text);
}

}  // namespace

std::string json_line(const ImageRecord& record) {
    Json json;
    visit_fields(record, [&](const FieldDeclaration& declared, const auto& field) {
        if (record.refusal.empty() || declared.is_known_if_refused) json[declared.name] = json_of(field);
    });
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<ImageRecord> record_of(std::string_view json_line) {
    ImageRecord record;
    try {
        const Json json = Json::parse(json_line);
        const bool is_refused = !json.at("refusal").get<std::string>().empty();
        visit_fields(record, [&](const FieldDeclaration& declared, auto& field) {
            if (!is_refused || declared.is_known_if_refused) take(json.at(declared.name), field);
        });
    } catch (const std::exception&) {
        return std::nullopt;
    }
    return record;
}

nlohmann::ordered_json record_schema() {
    Json properties = Json::object();
    Json always = Json::array(), if_done = Json::array();
    const ImageRecord any;
    visit_fields(any, [&](const FieldDeclaration& declared, const auto& field) {
        properties[declared.name] = type_of(field);
        properties[declared.name]["description"] = declared.meaning;
        (declared.is_known_if_refused ? always : if_done).push_back(declared.name);
    });
    return {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
            {"$id", "urn:norvane:summary:1"},
            {"title", "Line of summary.ndjson for one image"},
            {"type", "object"},
            {"properties", std::move(properties)},
            {"required", std::move(always)},
            {"if", {{"properties", {{"refusal", {{"const", ""}}}}}}},
            {"then", {{"required", std::move(if_done)}}}};
}

std::string csv_header() {
    std::string row;
    const ImageRecord any;
    visit_fields(any, [&row](const FieldDeclaration& declared, const auto&) {
        if (!row.empty()) row += ",";
        row += declared.name;
    });
    return row;
}

std::string csv_row(const ImageRecord& record) {
    std::string row;
    const char* separator = "";
    visit_fields(record, [&](const FieldDeclaration& declared, const auto& field) {
        row += std::exchange(separator, ",");
        if (record.refusal.empty() || declared.is_known_if_refused) row += csv_text(field);
    });
    return row;
}

}  // namespace Norvane::Host
