// SPDX-License-Identifier: Apache-2.0
/// Puts the files of an image into the folder of the results together.
#pragma once

#include "run/result_folder.h"
#include "run/run_folder.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Norvane::Host {

/// Each file is first written under a temporary name in the run's folder. commit() gives all of them their names. If
/// commit() is not called, the temporary files are removed. Errors are thrown as Refusal with the path and the system's
/// reason.
class OutputSet {
public:
    /// Both must outlive this object. The files go into the second one.
    OutputSet(const RunFolder& run_folder, const ResultFolder& folder_of_files)
        : run(run_folder), folder(folder_of_files) {}
    ~OutputSet();
    OutputSet(const OutputSet&) = delete;
    OutputSet& operator=(const OutputSet&) = delete;

    /// Writes a file under a temporary name. `file` is its name without folders.
    void add(const std::filesystem::path& file, std::string_view bytes);

    struct Waiting {
        std::string name;
        std::uintmax_t size;
        std::string temporary;
    };
    /// The files that still wait for their names, in the order in which they will get them.
    [[nodiscard]] const std::vector<Waiting>& files() const { return waiting; }

    /// Whether a file with this name and size may be replaced.
    using IsOwn = std::function<bool(const std::string& name, std::uintmax_t size)>;
    /// Throws Refusal if one of the names is taken by a file that may not be replaced.
    void require_places(const IsOwn& is_own) const;
    /// Gives the files their names, with the same check before each. A file that has its name leaves files().
    void commit(const IsOwn& is_own);

private:
    [[nodiscard]] bool has_own_in_place_of(const Waiting& file, const IsOwn& is_own) const;

    const RunFolder& run;
    const ResultFolder& folder;
    std::vector<Waiting> waiting;
};

}  // namespace Norvane::Host
