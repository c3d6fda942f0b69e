// SPDX-License-Identifier: Apache-2.0
/// What a person thinks of the masks of images, as report.html exports it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

struct Mark {
    std::string file;  ///< as the run named it
    std::string mark;  ///< "good", "bad" or "unsure"; empty: there is a note alone
    std::string note;
};

/// Reads a table that has the columns file and mark, and perhaps note, in any order and among others. It may have been
/// through a spreadsheet: fields may be separated by semicolons or tabs. Throws Refusal if it cannot be read or has no
/// such columns.
[[nodiscard]] std::vector<Mark> read_marks(const std::filesystem::path& table);

}  // namespace Norvane::Host
