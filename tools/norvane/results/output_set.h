// SPDX-License-Identifier: Apache-2.0
/// The result files of one input, which appear together or not at all.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

namespace Norvane::Host {

/// Each file is written under a temporary name beside its place; commit() gives all of them their names. Without
/// commit() the temporary files are removed. A device or a pipe is written at once and never replaced by a file. Errors
/// are thrown as Refusal with the path and the system's reason.
class OutputSet {
public:
    OutputSet() = default;
    ~OutputSet();
    OutputSet(const OutputSet&) = delete;
    OutputSet& operator=(const OutputSet&) = delete;

    void add(const std::filesystem::path& file, std::string_view bytes);
    /// The files that wait for their names, with their sizes in bytes.
    [[nodiscard]] std::vector<std::pair<std::filesystem::path, std::uintmax_t>> files() const;
    void commit();

private:
    std::vector<std::pair<std::filesystem::path, std::filesystem::path>> waiting;  // temporary name, name
};

/// The file that a temporary file of some run was to become; empty for any other file.
[[nodiscard]] std::filesystem::path result_of_temporary(const std::filesystem::path& file);

}  // namespace Norvane::Host
