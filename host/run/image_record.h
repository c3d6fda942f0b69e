// SPDX-License-Identifier: Apache-2.0
/// What a run keeps of each image, for its tables and its page, and its forms as text.
#pragma once

#include "findings/areas.h"
#include "io/header.h"

#include <norvane/masking.h>

#include <nlohmann/json.hpp>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Norvane::Host {

/// Seconds of wall time.
struct StageTimes {
    double reading = 0.0;
    double analysis = 0.0;  ///< preparation and masks
    double writing = 0.0;
};

/// What each setting was taken from: a field of the header, an option, or a look at the pixels.
struct SettingReasons {
    std::string side, laterality, view, noise, pixel_size;
};

struct ImageRecord {
    std::string file;      ///< as the user named it, or as the walk found it
    std::string name;      ///< of the results: OUT_DIR/NAME.ending
    std::string refusal;   ///< why nothing was made, completing a sentence that begins with the file's name; else empty
    bool is_kept = false;  ///< the results are those of an earlier run

    // The rest is empty for a refused image.
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;  ///< of the full mask: the verdict on the image
    Masking::MASK_STATUS breast_status = Masking::MASK_NO_MASK;
    Masking::MASK_STATUS pectoral_status = Masking::MASK_NO_MASK;
    std::string format;                         ///< such as "PNG"
    unsigned width = 0, height = 0;             ///< of the source
    std::string side, laterality, view, noise;  ///< words; laterality is empty if the file does not say it
    double pixel_size_um = 0.0;
    SettingReasons reasons;
    BreastAreas areas;
    double outline_contrast = 0.0;                     ///< across the breast's outline; low values are doubtful
    std::vector<std::string> flags;                    ///< such as "spot", "implant"
    std::vector<std::string> warnings;                 ///< sentences
    std::array<std::string, kTextFacts.size()> texts;  ///< those of the header; empty if it does not say them
    StageTimes seconds;
};

/// The JSON Schema (draft 2020-12) of these lines. Its properties are the columns of summary.csv as well, in their
/// order.
[[nodiscard]] nlohmann::ordered_json record_schema();

/// One line without its end: every field by its name.
[[nodiscard]] std::string json_line(const ImageRecord& record);
/// The record of such a line; nothing where it is none.
[[nodiscard]] std::optional<ImageRecord> record_of(std::string_view json_line);

/// The same fields as a row of a table, lists with "; " between.
[[nodiscard]] std::string csv_header();
[[nodiscard]] std::string csv_row(const ImageRecord& record);

}  // namespace Norvane::Host
