// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Norvane::Host {

enum ExitCode : int {
    kExitDone = 0,           ///< everything was done
    kExitPartly = 1,         ///< at least one input was refused or failed
    kExitUsage = 2,          ///< the command line is wrong
    kExitInterrupted = 130,  ///< a signal ended the run before its last image; 128 + SIGINT, as shells report it
};

}  // namespace Norvane::Host
