// SPDX-License-Identifier: Apache-2.0
/// norvane info: what the program takes from a file, and from which of its fields.
#pragma once

#include "io/read_options.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Norvane::Host {

/// norvane info.
struct InfoOptions {
    std::vector<std::string> files;
    ReadOptions reading;
    bool is_json = false;  ///< an array with an object for each file that could be read
};

/// Reports to `out`; a line per refused file to `err`. Returns an ExitCode.
[[nodiscard]] int run_info_command(const InfoOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
