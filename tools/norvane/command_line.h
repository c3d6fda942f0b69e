// SPDX-License-Identifier: Apache-2.0
/// The command line as records.
#pragma once

#include "phantom.h"
#include "source_image.h"

#include <norvane/masking.h>

#include <iosfwd>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Norvane::Host {

/// norvane masks. What is not given comes from the file or is found in the image.
struct MasksOptions {
    std::vector<std::string> files;
    std::string out_dir = "norvane-masks";
    std::optional<IMAGE_SIDE> side;
    std::optional<IMAGE_VIEW> view;
    std::optional<double> pixel_size_um;
    std::optional<BG_NOISE> noise;
    std::optional<PaddingRange> padding;
    bool is_inverted = false;
    bool is_fast = false;
    bool wants_contour = false;
};

/// norvane phantom.
struct PhantomOptions {
    std::string file;
    std::string labels_file;  ///< empty: none
    PhantomSpec settings;
};

/// What to do, or the exit code when there is nothing to do any more.
using Command = std::variant<int, MasksOptions, PhantomOptions>;

/// Help goes to `out`, what is wrong with the command line to `err`.
[[nodiscard]] Command parse_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
