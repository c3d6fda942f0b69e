// SPDX-License-Identifier: Apache-2.0
/// What a run says at its end, for people who come back after lunch.
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
    std::size_t not_finished = 0, not_begun = 0;  ///< when the run was stopped
    std::size_t passed_over = 0;                  ///< files that are no images

    [[nodiscard]] std::size_t left() const { return not_finished + not_begun; }
    [[nodiscard]] std::size_t images() const { return done + kept + refused + left(); }
};

/// Counts what was done, kept and refused.
[[nodiscard]] RunCounts counts_of(const std::vector<ImageRecord>& records);

/// "9 images: 4 done, 0 kept from an earlier run, 5 refused; 3 other files passed over". `done` says what became of
/// the first ones.
[[nodiscard]] std::string closing_line(const RunCounts& counts, const char* done = "done");

/// The closing line, the statuses and the reasons of refusals with the number of their images, the images that should
/// be looked at first, the page, and how to go on if the run was stopped. Reasons that differ in their numbers alone
/// count as one. One image that was named speaks for itself: only the page is left to be told.
[[nodiscard]] std::vector<std::string> closing_lines(const RunOptions& options, const std::vector<ImageRecord>& records,
                                                     const RunCounts& counts);

}  // namespace Norvane::Host
