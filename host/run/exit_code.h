// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Norvane::Host {

enum ExitCode : int {
    kExitDone = 0,           ///< everything was done
    kExitPartly = 1,         ///< some input was refused or failed
    kExitUsage = 2,          ///< the command line cannot be understood
    kExitInterrupted = 130,  ///< a signal ended the run before its last image; 128 and SIGINT, as shells count
};

}  // namespace Norvane::Host
