// SPDX-License-Identifier: Apache-2.0
/// Writes the results of one image as JSON.
#pragma once

#include "findings/findings.h"

#include <nlohmann/json.hpp>

#include <string>

namespace Norvane::Host {

/// Statuses, settings with their reasons, geometry and masks as text. The report explains its own numbers: "geometry"
/// says how to get from a pixel of the source to one of the masks, and "encodings" describes the forms of a mask.
[[nodiscard]] std::string report_json(const Findings& findings);

/// Grows if a member changes its meaning or goes, not if one is added.
inline constexpr int kReportSchema = 1;
/// The JSON Schema (draft 2020-12) of these texts.
[[nodiscard]] nlohmann::ordered_json report_schema();

}  // namespace Norvane::Host
