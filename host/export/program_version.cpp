// SPDX-License-Identifier: Apache-2.0
#include "export/program_version.h"

namespace Norvane::Host {

const char* program_version() { return NORVANE_VERSION; }

}  // namespace Norvane::Host
