// SPDX-License-Identifier: Apache-2.0
#include "run/page/report_page.h"

#include "export/mask_layers.h"
#include "findings/status_text.h"
#include "io/number_text.h"
#include "run/doubt_order.h"
#include "run/page/report_page_template.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

/// A file name as a relative address. All bytes except letters, digits and -_.~/ are written as %XX.
std::string address_of(const std::string& name) {
    constexpr std::string_view kHexDigits = "0123456789ABCDEF";
    std::string address = "./";
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        const bool is_plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                              std::string_view("-_.~/").find(c) != std::string_view::npos;
        if (is_plain) {
            address += c;
        } else {
            address += '%';
            address += kHexDigits[byte >> 4U];
            address += kHexDigits[byte & 0xFU];
        }
    }
    return address;
}

std::string text_with_unit(double value, int decimals, const char* unit) {
    return fmt::format("{:.{}f} {}", value, decimals, unit);
}

double rounded(double value) { return std::round(value * 1e3) / 1e3; }

/// The terms and values that the page shows.
Json figures_of(const ImageRecord& record) {
    const StageTimes& s = record.seconds;
    Json figures = Json::array({{"Results", record.name + ".*"},
                                {"Format", record.format},
                                {"Size", fmt::format("{} x {} pixels", record.width, record.height)},
                                {"Pixel size", number_text(record.pixel_size_um) + " \u00b5m"},
                                {"Noise class", record.noise},
                                {"Contrast across the outline", number_text(rounded(record.outline_contrast))},
                                {"Time to read", text_with_unit(s.reading, 2, "s")},
                                {"Time for the masks", text_with_unit(s.analysis, 2, "s")},
                                {"Time to write", text_with_unit(s.writing, 2, "s")}});
    for (const AreaDeclaration& area : kAreas) {
        figures.push_back({std::string("Area: ") + area.label, area_text(record.areas.*area.value)});
    }
    const std::pair<const char*, std::optional<double>> doubts[] = {{"Doubt of the breast", record.breast_doubt},
                                                                    {"Doubt of the muscle", record.muscle_doubt}};
    for (const auto& [term, doubt] : doubts) {
        if (doubt) figures.push_back({term, number_text(rounded(*doubt))});
    }
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        if (!record.texts[i].empty()) figures.push_back({kTextFacts[i].keyword, record.texts[i]});
    }
    return figures;
}

Json json_of(const ImageRecord& record) {
    const auto verdict = [](const char* label, Masking::MASK_STATUS status) {
        return Json::array({label, static_cast<int>(status), static_cast<int>(gravity_of(status))});
    };
    Json json = {{"file", record.file},
                 {"name", record.name},
                 {"url", address_of(record.name)},
                 {"gravity", static_cast<int>(gravity_of(record))},
                 {"doubts", doubts_of(record)},
                 {"look", reason_to_look(record)},
                 {"verdicts", Json::array({verdict("Full mask", record.status), verdict("Breast", record.breast_status),
                                           verdict("Pectoral muscle", record.pectoral_status)})},
                 {"format", record.format},
                 {"side", record.side},
                 {"view", record.view},
                 {"noise", record.noise},
                 {"contrast", rounded(record.outline_contrast)},
                 {"area", rounded(record.areas.breast)},
                 {"flags", record.flags},
                 {"warnings", record.warnings},
                 {"figures", figures_of(record)}};
    if (record.breast_doubt || record.muscle_doubt) json["doubt"] = rounded(greatest_doubt_of(record));
    return json;
}

std::string colour_text(const Colour& colour) {
    const auto level = [](double part) { return static_cast<unsigned>(std::lround(part * 255.0)); };
    return fmt::format("#{:02x}{:02x}{:02x}", level(colour.red), level(colour.green), level(colour.blue));
}

std::string summary_of(const std::vector<ImageRecord>& records) {
    const auto refused = std::ranges::count_if(records, [](const auto& r) { return !r.refusal.empty(); });
    const auto to_look_at =
        std::ranges::count_if(records, [](const auto& r) { return r.refusal.empty() && !reason_to_look(r).empty(); });
    return fmt::format(
        "{} image{}: {} refused{}", records.size(), records.size() == 1 ? "" : "s", refused,
        static_cast<std::size_t>(refused) == records.size() ? "" : fmt::format(", {} in doubt", to_look_at));
}

Json page_json(const std::vector<ImageRecord>& all) {
    Json layers = Json::array();
    for (const MaskLayer& layer : kAllMaskLayers) {
        layers.push_back({{"key", layer.key},
                          {"label", layer.label},
                          {"colour", colour_text(layer.colour)},
                          {"width", layer.line_width}});
    }
    Json statuses;
    std::vector<Masking::MASK_STATUS> order;
    for (const StatusText& text : kStatusTexts) {
        statuses[std::to_string(text.status)] = text.sentence;
        order.push_back(text.status);
    }
    std::ranges::stable_sort(order, std::ranges::greater(), [](auto status) { return gravity_of(status); });
    Json records = Json::array();
    for (const ImageRecord* record : in_order_of_doubt(all)) records.push_back(json_of(*record));
    Json refused = Json::array();
    for (const ImageRecord& record : all) {
        if (!record.refusal.empty()) refused.push_back({{"file", record.file}, {"refusal", record.refusal}});
    }
    return {{"summary", summary_of(all)},      {"layers", std::move(layers)},
            {"statuses", std::move(statuses)}, {"order", order},
            {"records", std::move(records)},   {"refused", std::move(refused)}};
}

/// Makes JSON safe inside a script element of HTML, where "<" could end the element or begin a comment.
std::string embedded(const Json& json) {
    const std::string text = json.dump(-1, ' ', true, Json::error_handler_t::replace);
    std::string safe;
    safe.reserve(text.size());
    for (const char c : text) {
        if (c == '<') {
            safe += "\\u003c";
        } else {
            safe += c;
        }
    }
    return safe;
}

}  // namespace

std::string report_page(const std::vector<ImageRecord>& records) {
    const std::string data = embedded(page_json(records));
    const std::size_t mark = kPageTemplate.find(kPageRecordsMark);
    std::string page(kPageTemplate.substr(0, mark));
    page += data;
    page += kPageTemplate.substr(mark + kPageRecordsMark.size());
    return page;
}

}  // namespace Norvane::Host
