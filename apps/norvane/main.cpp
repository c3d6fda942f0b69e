// SPDX-License-Identifier: Apache-2.0
#include "command_line.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>

namespace {

// A file that is opened while a standard stream is closed would get its number, and then what is printed would go into
// that file. What holds the number instead can be used in the wrong direction only, so that failures still show.
void occupy_closed_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
        (void)open("/dev/null",
                   stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // takes the lowest number, which is this
    }
}

}  // namespace

int main(int argc, char** argv) {
    occupy_closed_streams();
    std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is a failure to write one, and no end of the run
    return Norvane::Host::run_program(argc, argv, std::cout, std::cerr);
}
