// SPDX-License-Identifier: Apache-2.0
/// Which images a run is about: the files and folders of the command line and of a manifest.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

struct Input {
    std::string file;            ///< as the user named it, or as the walk found it
    std::filesystem::path base;  ///< folder whose structure the results keep; empty: the results lie side by side
    std::string refusal;         ///< why it is no use to open it; else empty
    std::string name;            ///< of the results, see give_result_names()
    bool is_named = true;        ///< by the user; otherwise a walk found it
};

/// Part `number` of `count`, from 1.
struct Shard {
    unsigned number;
    unsigned count;
};

/// Whether the image belongs to the part. That depends on its name alone, so that it is the same part when other
/// images are added.
[[nodiscard]] bool is_in_shard(const Input& input, const Shard& shard);

struct InputQuery {
    std::vector<std::string> inputs;  ///< files and folders
    std::string manifest;             ///< a file with more of them; "-" is standard input; empty: none. A name
                                      ///< BASE/./REST has the base BASE
    std::string root;                 ///< base of everything that lies below it; empty: folders are bases of their own
    std::string out_dir;              ///< not walked
    char list_end = '\n';             ///< what ends each name in the manifest: a line feed or NUL
};

struct FoundInputs {
    std::vector<Input> inputs;    ///< those of a folder sorted by their paths
    std::size_t passed_over = 0;  ///< files in folders that are no images, and results of earlier runs
};

/// Files that are named are taken as they are. Folders are walked: their images are found by content, and a file that
/// has the ending of an image is one of them whatever it holds, so that a damaged image is missed by nobody. Hidden
/// files and results of earlier runs are left out; no folder is walked twice, whatever links lead to it. Throws Refusal
/// where the manifest cannot be read.
[[nodiscard]] FoundInputs find_inputs(const InputQuery& query);

}  // namespace Norvane::Host
