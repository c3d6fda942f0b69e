// SPDX-License-Identifier: Apache-2.0
#include "run/coco_data_set.h"

#include "export/coco_annotations.h"
#include "export/program_version.h"
#include "io/refusal.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

// The file may have been changed since it was written. An id of its own would replace the number in the data set.
bool is_annotations(const Json& json) {
    if (!json.is_object() || !json.contains("annotations") || !json["annotations"].is_array()) return false;
    for (const char* size : {"width", "height"}) {
        if (!json.contains(size) || !json[size].is_number_unsigned()) return false;
    }
    return std::ranges::all_of(json["annotations"], [](const Json& annotation) {
        return annotation.is_object() && !annotation.contains("id") && !annotation.contains("image_id");
    });
}

// Nothing if the image has no annotations.
std::optional<Json> annotations_of(const ImageRecord& record, const ResultFolder& results,
                                   std::vector<std::string>& failures) {
    constexpr std::size_t kMostBytes = std::size_t{1} << 28;
    try {
        const auto folder = results.parent_of(record.name);
        const std::string file = std::filesystem::path(record.name).filename().string() + "." + kCocoEnding;
        const auto text = folder ? folder->read(file, kMostBytes) : std::nullopt;
        if (!text) return std::nullopt;
        Json json = Json::parse(*text, nullptr, false);  // a value of no kind instead of an exception
        if (is_annotations(json)) return json;
    } catch (const Refusal&) {  // what lies there cannot be read
    }
    failures.push_back(results.path_of(record.name + "." + kCocoEnding).string() +
                       " is damaged, so the COCO data set leaves its image out: make the results of this image again");
    return std::nullopt;
}

}  // namespace

std::string coco_data_set(const std::vector<ImageRecord>& records, const ResultFolder& results,
                          std::vector<std::string>& failures) {
    Json images = Json::array(), annotations = Json::array(), categories = Json::array();
    for (const CocoCategory& category : kCocoCategories) {
        categories.push_back({{"id", category.id}, {"name", category.name}});
    }
    for (const ImageRecord& record : records) {
        if (!record.refusal.empty()) continue;
        const auto found = annotations_of(record, results, failures);
        if (!found) continue;
        const std::size_t image_id = images.size() + 1;
        images.push_back({{"id", image_id},
                          {"file_name", record.file},
                          {"width", found->at("width")},
                          {"height", found->at("height")}});
        for (const Json& annotation : found->at("annotations")) {
            Json numbered = {{"id", annotations.size() + 1}, {"image_id", image_id}};
            numbered.update(annotation);
            annotations.push_back(std::move(numbered));
        }
    }
    const Json data_set = {{"info", {{"description", "Masks of norvane"}, {"version", program_version()}}},
                           {"images", std::move(images)},
                           {"annotations", std::move(annotations)},
                           {"categories", std::move(categories)}};
    return data_set.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace Norvane::Host
