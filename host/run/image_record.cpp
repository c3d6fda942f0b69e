// SPDX-License-Identifier: Apache-2.0
#include "run/image_record.h"

#include "io/number_text.h"
#include "run/csv_text.h"

#include <nlohmann/json.hpp>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

// Calls visit(name, field) for every field, in the order of the tables.
template <class Record, class Visitor>
void visit_fields(Record& record, const Visitor& visit) {
    visit("file", record.file);
    visit("name", record.name);
    visit("refusal", record.refusal);
    visit("kept", record.is_kept);
    visit("status", record.status);
    visit("breast_status", record.breast_status);
    visit("pectoral_status", record.pectoral_status);
    visit("format", record.format);
    visit("width", record.width);
    visit("height", record.height);
    visit("side", record.side);
    visit("view", record.view);
    visit("noise", record.noise);
    visit("pixel_size_um", record.pixel_size_um);
    for (const AreaDeclaration& area : kAreas) visit(area.name, record.areas.*area.value);
    visit("outline_contrast", record.outline_contrast);
    visit("breast_doubt", record.breast_doubt);
    visit("muscle_doubt", record.muscle_doubt);
    visit("flags", record.flags);
    visit("warnings", record.warnings);
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) visit(kTextFacts[i].name, record.texts[i]);
    visit("seconds_reading", record.seconds.reading);
    visit("seconds_analysis", record.seconds.analysis);
    visit("seconds_writing", record.seconds.writing);
}

// The fields of a refused image. The other fields have no meaning.
bool is_known_without_masks(std::string_view name) {
    return name == "file" || name == "name" || name == "refusal" || name == "kept";
}

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
    visit_fields(record, [&](const char* name, const auto& field) {
        if (record.refusal.empty() || is_known_without_masks(name)) json[name] = json_of(field);
    });
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<ImageRecord> record_of(std::string_view json_line) {
    ImageRecord record;
    try {
        const Json json = Json::parse(json_line);
        const bool is_refused = !json.at("refusal").get<std::string>().empty();
        visit_fields(record, [&](const char* name, auto& field) {
            if (!is_refused || is_known_without_masks(name)) take(json.at(name), field);
        });
    } catch (const Json::exception&) {
        return std::nullopt;
    }
    return record;
}

std::string csv_header() {
    const ImageRecord any;
    std::string row;
    visit_fields(any, [&row](const char* name, const auto&) {
        if (!row.empty()) row += ",";
        row += name;
    });
    return row;
}

std::string csv_row(const ImageRecord& record) {
    std::string row;
    visit_fields(record, [&](std::string_view name, const auto& field) {
        if (name != "file") row += ',';  // the first one
        if (record.refusal.empty() || is_known_without_masks(name)) row += csv_text(field);
    });
    return row;
}

}  // namespace Norvane::Host
