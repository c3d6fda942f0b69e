// SPDX-License-Identifier: Apache-2.0
/// Lists of inputs: one a line, or a table in which each image has options of its own.
#pragma once

#include "run/option_table.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

struct ManifestEntry {
    std::string file;
    std::filesystem::path base{};  ///< a name BASE/./REST has this base; empty without the mark
    GivenOptions own{};            ///< what the table says of this image; not checked
    std::string refusal{};         ///< why it cannot be used; else empty
};

struct Manifest {
    std::vector<ManifestEntry> entries;
    std::string note;  ///< what was passed over, completing a sentence that begins with the manifest's name; else empty
};

/// Reads the manifest in a file, or from standard input if it is "-". `list_end` ends each name: a line feed or NUL.
///
/// A manifest is a CSV if its first line is a header with a column `file`, unless a file has the name that the line is.
/// The fields are separated by commas, semicolons or tabs, whichever stands first in the header. `columns` are the
/// names of the options that may have columns. Throws Refusal if the manifest cannot be read.
[[nodiscard]] Manifest read_manifest(const std::string& manifest, char list_end,
                                     const std::vector<std::string>& columns);

}  // namespace Norvane::Host
