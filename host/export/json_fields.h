// SPDX-License-Identifier: Apache-2.0
/// JSON objects as tables. A row declares a member once: the objects that are written, their JSON Schema and their
/// documentation are made from it.
#pragma once

#include <nlohmann/json.hpp>

#include <functional>
#include <utility>
#include <vector>

namespace Norvane::Host {

enum class Presence {
    kAlways,
    kIfKnown,  ///< left out if the value is null
};

/// `type` is a schema, such as those below. `value` takes what the object is about.
template <class Subject>
struct JsonField {
    const char* name;
    nlohmann::ordered_json type;
    const char* meaning;
    std::function<nlohmann::ordered_json(const Subject& subject)> value;
    Presence presence = Presence::kAlways;
};
template <class Subject>
using JsonFields = std::vector<JsonField<Subject>>;

template <class Subject>
[[nodiscard]] nlohmann::ordered_json object_of(const JsonFields<Subject>& fields, const Subject& subject) {
    auto object = nlohmann::ordered_json::object();
    for (const JsonField<Subject>& field : fields) {
        nlohmann::ordered_json value = field.value(subject);
        if (field.presence == Presence::kAlways || !value.is_null()) object[field.name] = std::move(value);
    }
    return object;
}

template <class Subject>
[[nodiscard]] nlohmann::ordered_json type_of_object(const JsonFields<Subject>& fields) {
    auto properties = nlohmann::ordered_json::object();
    auto required = nlohmann::ordered_json::array();
    for (const JsonField<Subject>& field : fields) {
        properties[field.name] = field.type;
        properties[field.name]["description"] = field.meaning;
        if (field.presence == Presence::kAlways) required.push_back(field.name);
    }
    return {{"type", "object"}, {"properties", std::move(properties)}, {"required", std::move(required)}};
}

[[nodiscard]] inline nlohmann::ordered_json type_named(const char* name) { return {{"type", name}}; }
/// A number, or null if it is none.
[[nodiscard]] inline nlohmann::ordered_json number_type() { return {{"type", {"number", "null"}}}; }
[[nodiscard]] inline nlohmann::ordered_json array_type(const nlohmann::ordered_json& items) {
    return {{"type", "array"}, {"items", items}};
}
[[nodiscard]] inline nlohmann::ordered_json or_null(const nlohmann::ordered_json& type) {
    return {{"anyOf", nlohmann::ordered_json::array({type, type_named("null")})}};
}
/// One of the definitions of the schema.
[[nodiscard]] inline nlohmann::ordered_json type_defined(const std::string& name) {
    return {{"$ref", "#/$defs/" + name}};
}
/// One of the words of a table.
template <class Words>
[[nodiscard]] nlohmann::ordered_json word_type(const Words& words) {
    auto choices = nlohmann::ordered_json::array();
    for (const auto& [word, value] : words) choices.push_back(word);
    return {{"enum", std::move(choices)}};
}

}  // namespace Norvane::Host
