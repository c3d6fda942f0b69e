// SPDX-License-Identifier: Apache-2.0
/// The options of a run over images.
#pragma once

#include "findings/analysis_options.h"
#include "io/read_options.h"
#include "run/inputs.h"
#include "run/option_table.h"

#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

enum class ReportFormat { kText, kJson };
enum class Verbosity { kQuiet, kLine, kDetails };  // of the report about an image

struct RunOptions {
    std::vector<std::string> inputs;  ///< files and folders
    std::string manifest;             ///< a file that lists more inputs; "-" is standard input; empty: none
    std::string root;                 ///< see InputQuery
    std::string out_dir = "norvane-masks";
    std::vector<std::string> results;  ///< names of ResultKinds
    AnalysisOptions analysis;
    ReadOptions reading;

    unsigned jobs = 1;
    bool takes_all_frames = false;  ///< a result for each frame of a file
    bool is_resumed = false;
    std::optional<Shard> shard;
    std::string fail_list;  ///< empty: none
    char list_end = '\n';   ///< the character that ends each name in the manifest and in the list of failures
    bool is_dry_run = false;
    bool has_page = true;
    ReportFormat report_format = ReportFormat::kText;
    Verbosity verbosity = Verbosity::kLine;
    std::string stamp_text;  ///< the options that the results depend on, as text for stamps
};

/// All options of a run. Their groups are only headings in the help.
[[nodiscard]] const OptionTable<RunOptions>& run_option_table();

/// How one image is read and analysed.
struct ImageOptions {
    AnalysisOptions analysis;
    ReadOptions reading;
};
/// Options of its own come before those of the run. Throws WrongOption.
[[nodiscard]] ImageOptions options_of_image(const RunOptions& run, const GivenOptions& own);

/// The names of the options that images may have of their own.
[[nodiscard]] std::vector<std::string> options_of_images();

/// Throws WrongOption.
[[nodiscard]] RunOptions run_options_of(const std::vector<std::string>& inputs, const GivenOptions& given);

}  // namespace Norvane::Host
