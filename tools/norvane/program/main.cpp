// SPDX-License-Identifier: Apache-2.0
#include "program/program.h"

#include <csignal>
#include <iostream>

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is a failure to write one, and no end of the run
    return Norvane::Host::run_program(argc, argv, std::cout, std::cerr);
}
