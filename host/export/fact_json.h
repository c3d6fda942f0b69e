// SPDX-License-Identifier: Apache-2.0
/// Converts the facts about an image to JSON.
#pragma once

#include "io/header.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace Norvane::Host {

[[nodiscard]] inline nlohmann::ordered_json fact_json(const std::string& value) { return value; }
[[nodiscard]] inline nlohmann::ordered_json fact_json(const std::vector<std::string>& values) { return values; }
[[nodiscard]] inline nlohmann::ordered_json fact_json(double value) { return value; }
[[nodiscard]] inline nlohmann::ordered_json fact_json(unsigned value) { return value; }
[[nodiscard]] inline nlohmann::ordered_json fact_json(bool value) { return value; }
[[nodiscard]] inline nlohmann::ordered_json fact_json(IMAGE_SIDE value) { return name_of(value); }
[[nodiscard]] inline nlohmann::ordered_json fact_json(IMAGE_VIEW value) { return name_of(value); }
[[nodiscard]] inline nlohmann::ordered_json fact_json(Laterality value) { return name_of(value); }
[[nodiscard]] inline nlohmann::ordered_json fact_json(BG_NOISE value) { return name_of(value); }
[[nodiscard]] inline nlohmann::ordered_json fact_json(const PaddingRange& value) { return {value.low, value.high}; }
[[nodiscard]] inline nlohmann::ordered_json fact_json(const DisplayWindow& value) {
    return {value.centre, value.width};
}

}  // namespace Norvane::Host
