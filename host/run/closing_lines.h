// SPDX-License-Identifier: Apache-2.0
/// The messages at the end of a run.
#pragma once

#include "run/image_record.h"
#include "run/run_options.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Norvane::Host {

/// What became of the images of a run.
struct RunCounts {
    std::size_t done = 0, kept = 0, refused = 0;
    std::size_t not_finished = 0, not_begun = 0;  ///< if the run was stopped
    std::size_t passed_over = 0;                  ///< files that are not images

    [[nodiscard]] std::size_t left() const { return not_finished + not_begun; }
    [[nodiscard]] std::size_t images() const { return done + kept + refused + left(); }
};

/// Counts what was done, kept and refused.
[[nodiscard]] RunCounts counts_of(const std::vector<ImageRecord>& records);

/// "9 images: 4 done, 0 kept from an earlier run, 5 refused; 3 other files passed over". `done` is the word for the
/// first number.
[[nodiscard]] std::string closing_line(const RunCounts& counts, const char* done = "done");

/// The closing line, the statuses and the reasons of refusals with their numbers of images, the images to look at
/// first, the page, and how to continue if the run was stopped. Reasons that only differ in their numbers count as one.
/// For a single named image, only the page is given, because the line about the image says the rest, and nothing if
/// that image was refused.
[[nodiscard]] std::vector<std::string> closing_lines(const RunOptions& options, const std::vector<ImageRecord>& records,
                                                     const RunCounts& counts);

}  // namespace Norvane::Host
