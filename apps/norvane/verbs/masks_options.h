// SPDX-License-Identifier: Apache-2.0
/// The options of "norvane masks".
#pragma once

#include "run/masks_command.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Norvane::Host {

class MasksOptionSet {
public:
    explicit MasksOptionSet(CLI::App& app);
    MasksOptionSet(const MasksOptionSet&) = delete;  // the options point into this object
    MasksOptionSet& operator=(const MasksOptionSet&) = delete;

    [[nodiscard]] bool is_chosen() const { return verb->parsed(); }
    /// What was parsed. Throws CLI::ParseError for options that contradict each other.
    [[nodiscard]] MasksOptions finish();

private:
    /// The option enters the stamps that --resume trusts. The help's group of an option says nothing about that.
    void changes_results(const CLI::Option* option) { result_options.push_back(option); }
    void add_analysis_options();
    void add_batch_options();
    void take_analysis_texts();
    [[nodiscard]] std::string text_for_stamps() const;

    CLI::App* verb;
    MasksOptions options;
    std::vector<const CLI::Option*> result_options;
    // Texts as the user typed them, checked by CLI11 as far as it can.
    std::string side, view, noise, padding, shard, crop = "auto", format = "text";
    double pixel_size_um = 0.0;
};

}  // namespace Norvane::Host
