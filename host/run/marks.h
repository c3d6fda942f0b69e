// SPDX-License-Identifier: Apache-2.0
/// Reads the marks that people gave the masks of images and that report.html exported.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

inline constexpr const char* kMarkColumn = "mark";
inline constexpr const char* kNoteColumn = "note";

struct Mark {
    std::string file;  ///< as the run named it
    std::string mark;  ///< "good", "bad" or "unsure"; empty if there is only a note
    std::string note;
};

/// Reads a table with the columns file and mark, and perhaps note. They may be in any order, and there may be others. A
/// spreadsheet may have saved the table, so fields may be separated by semicolons or tabs. Throws Refusal if the table
/// cannot be read or lacks these columns.
[[nodiscard]] std::vector<Mark> read_marks(const std::filesystem::path& table);

}  // namespace Norvane::Host
