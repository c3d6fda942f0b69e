// SPDX-License-Identifier: Apache-2.0
/// What a run keeps about each image for its tables and its page, and how that is written as text.
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

/// Wall time in seconds.
struct StageTimes {
    double reading = 0.0;
    double analysis = 0.0;  ///< preparation and masks
    double writing = 0.0;
};

/// Where each setting comes from: a field of the header, an option, or the pixels.
struct SettingReasons {
    std::string side, laterality, view, noise, pixel_size;
};

struct ImageRecord {
    std::string file;      ///< as the user named it, or as the walk found it
    std::string name;      ///< the name of the results, OUT_DIR/NAME.ending
    std::string refusal;   ///< if the image was refused, why: the rest of a sentence that begins with the file's name
    bool is_kept = false;  ///< the results are those of an earlier run

    // If the image was refused, the members below are empty.
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;  ///< that of the full mask, which is that of the image
    Masking::MASK_STATUS breast_status = Masking::MASK_NO_MASK;
    Masking::MASK_STATUS pectoral_status = Masking::MASK_NO_MASK;
    std::string format;                         ///< such as "PNG"
    unsigned width = 0, height = 0;             ///< size of the source
    std::string side, laterality, view, noise;  ///< words; laterality is empty if the file does not say it
    double pixel_size_um = 0.0;
    SettingReasons reasons;
    BreastAreas areas;
    double outline_contrast = 0.0;                     ///< across the outline of the breast; low values are doubtful
    std::optional<double> breast_doubt, muscle_doubt;  ///< from 0 to 1; nothing if they are not known
    std::vector<std::string> flags;                    ///< such as "spot", "implant"
    std::vector<std::string> warnings;                 ///< sentences
    std::array<std::string, kTextFacts.size()> texts;  ///< texts of the header; empty if it does not say them
    StageTimes seconds;
};

/// The JSON Schema (draft 2020-12) of these lines. Its properties are the columns of summary.csv as well, in their
/// order.
[[nodiscard]] nlohmann::ordered_json record_schema();

/// One line of JSON, without its line feed, that holds every field by its name.
[[nodiscard]] std::string json_line(const ImageRecord& record);
/// Parses such a line. Nothing if it is not a record.
[[nodiscard]] std::optional<ImageRecord> record_of(std::string_view json_line);

/// The same fields as a row of a table. Items of lists are separated by "; ".
[[nodiscard]] std::string csv_header();
[[nodiscard]] std::string csv_row(const ImageRecord& record);

}  // namespace Norvane::Host
