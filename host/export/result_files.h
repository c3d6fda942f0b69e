// SPDX-License-Identifier: Apache-2.0
/// The files that are written for one image.
#pragma once

#include "findings/image_analysis.h"
#include "run/output_set.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace Norvane::Host {

/// A kind of result: its name on the command line, the endings of its files, and how they are made.
struct ResultKind {
    const char* name;
    const char* description;
    bool is_default;
    std::vector<std::string> endings;  ///< of the file names NAME.ending
    void (*add)(OutputSet& outputs, const std::filesystem::path& stem, const std::string& file,
                ImageAnalysis& analysis);
};

/// Every kind, in the order in which the files are written.
[[nodiscard]] const std::vector<ResultKind>& result_kinds();

/// Adds the files of the kinds named to `outputs`, as STEM.ending. `file` is the input's name, for reports.
void add_result_files(OutputSet& outputs, const std::filesystem::path& stem, const std::string& file,
                      const std::vector<std::string>& kinds, ImageAnalysis& analysis);

}  // namespace Norvane::Host
