// SPDX-License-Identifier: Apache-2.0
/// Finds the images of a run: those of the files and folders of the command line and of a manifest.
#pragma once

#include "io/read_options.h"
#include "run/option_table.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

struct Input {
    std::string file;            ///< as the user named it, or as the walk found it
    std::filesystem::path base;  ///< the results keep the path below this folder; empty: results get no subfolders
    std::string refusal;         ///< why the file need not be opened; empty if it should be
    std::string name;            ///< the name of the results, see give_result_names()
    bool is_named = true;        ///< the user named it; false: a walk found it
    GivenOptions own{};          ///< options for this image alone; they come before those of the run
};

/// The frame of its file that an input is about, as the user or expand_frames() wrote it; empty: the file has one, or
/// the run says which.
[[nodiscard]] std::string own_frame(const Input& input);

/// Part `number` of `count`, counted from 1.
struct Shard {
    unsigned number;
    unsigned count;
};

/// Whether the image belongs to the part. This depends only on its name, so an image stays in its part if other images
/// are added.
[[nodiscard]] bool is_in_shard(const Input& input, const Shard& shard);

struct InputQuery {
    std::vector<std::string> inputs;  ///< files and folders
    std::string manifest;             ///< a file that lists more inputs; "-" is standard input; empty: none
    std::string root;                 ///< the base of all inputs below it; if it is empty, each folder is its own base
    std::string out_dir;              ///< the walk leaves out this folder
    char list_end = '\n';             ///< the character that ends each name in the manifest: a line feed or NUL
    std::vector<std::string> columns{};  ///< names of the options that the manifest may say for each image
};

struct FoundInputs {
    std::vector<Input> inputs;    ///< the images of a folder are sorted by path
    std::size_t passed_over = 0;  ///< number of files in folders that are not images or are results of earlier runs
    std::string note;             ///< about the manifest, see Manifest
};

/// Named files are taken as they are. Folders are walked, and images in them are recognised by content. A file with the
/// ending of an image always counts as one, so that a damaged image is reported. Hidden files and results of earlier
/// runs are left out. No folder is walked twice, even if several links lead to it. Throws Refusal if the manifest
/// cannot be read. What the manifest says about a folder applies to all images in it.
[[nodiscard]] FoundInputs find_inputs(const InputQuery& query);

/// Makes an input of each frame of files that hold several: of those whose own options ask for all frames, and of those
/// that say nothing about frames if `are_all_wanted`. A file that cannot be read stays as it is, to be refused later.
void expand_frames(std::vector<Input>& inputs, bool are_all_wanted, const ReadOptions& options);

}  // namespace Norvane::Host
