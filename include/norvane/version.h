// SPDX-License-Identifier: Apache-2.0
/// The version of the library, at compile time and at run time, and what a version may change.
///
/// - A patch version (1.0.x) corrects faults and documents. If a correction moves a mask, the change log says so.
/// - A minor version (1.x.0) may add functions, constants, statuses and noise classes. Hosts that were compiled against
///   an earlier minor version continue to run. No declared name disappears, no public record changes its size, and the
///   same image and parameters give masks that are equal to the bit.
/// - A major version may change anything, and changes the soname.
#pragma once

#include <norvane/export.h>

#define NORVANE_VERSION_MAJOR 1
#define NORVANE_VERSION_MINOR 0
#define NORVANE_VERSION_PATCH 0

namespace Norvane {

/// The version of the library that is loaded, such as "1.0.0". The text lives as long as the process.
[[nodiscard]] NORVANE_API const char* Version();

}  // namespace Norvane
