// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Norvane::Host {

/// Of the program, such as "1.0.0": what results are marked with.
[[nodiscard]] const char* program_version();

}  // namespace Norvane::Host
