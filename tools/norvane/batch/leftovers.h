// SPDX-License-Identifier: Apache-2.0
/// What runs that were killed left behind.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The temporary files below a folder, by the result that each was to become. One look at the start of a run serves all
/// its images: looking for each of thousands in a folder of thousands would take longer than the images.
class Leftovers {
public:
    Leftovers() = default;
    explicit Leftovers(const std::filesystem::path& folder);

    /// Looks into the folder of `file`, too, which may lie elsewhere, but not below it.
    void look_beside(const std::filesystem::path& file);

    /// Removes those of the result `file`, a path that begins with the folder, or of one that was looked beside.
    /// Several threads may do so for different images. Those of results that this run does not make stay: another run
    /// may be at work on them.
    void remove_those_of(const std::filesystem::path& file) const;

private:
    void note(const std::filesystem::path& file);

    std::map<std::string, std::vector<std::filesystem::path>> files;
};

}  // namespace Norvane::Host
