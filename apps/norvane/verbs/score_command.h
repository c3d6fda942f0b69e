// SPDX-License-Identifier: Apache-2.0
/// norvane score: masks against a truth that somebody drew.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace Norvane::Host {

/// The grey values of a truth that mean breast without muscle, and muscle.
struct TruthValues {
    std::vector<std::uint8_t> breast{1};
    std::vector<std::uint8_t> pectoral{2};
};

/// norvane score.
struct ScoreOptions {
    std::vector<std::string> truths;      ///< PNG files of labels, and folders of them
    std::string masks = "norvane-masks";  ///< folder of the results of norvane masks
    TruthValues values;
    double pixel_size_um = 0.0;  ///< 0: what the results say
    std::string csv;             ///< table to write; empty: score.csv in the folder of the results
};

/// Reports to `out`; a line per truth that could not be scored to `err`. Returns an ExitCode.
[[nodiscard]] int run_score_command(const ScoreOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
