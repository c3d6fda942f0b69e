// SPDX-License-Identifier: Apache-2.0
/// norvane phantom: the synthetic mammogram as a PNG file.
#pragma once

#include "phantom/phantom.h"

#include <iosfwd>
#include <string>

namespace Norvane::Host {

/// norvane phantom.
struct PhantomOptions {
    std::string file;
    std::string labels_file;  ///< empty: none
    PhantomSettings settings;
};

/// Returns an ExitCode.
[[nodiscard]] int run_phantom_command(const PhantomOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Norvane::Host
