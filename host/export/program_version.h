// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Norvane::Host {

/// The version of the program, such as "1.0.0". Results are marked with it.
[[nodiscard]] const char* program_version();

}  // namespace Norvane::Host
