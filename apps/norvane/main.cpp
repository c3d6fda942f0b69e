// SPDX-License-Identifier: Apache-2.0
#include "command_line.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>

namespace {

// If a standard stream is closed, the next file that is opened would get its number, and printed text would go into
// that file. So the number is given to /dev/null, opened in the wrong direction, so that using the stream still fails.
void occupy_closed_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
        (void)open("/dev/null",
                   stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // gets the lowest free number, which is this one
    }
}

}  // namespace

int main(int argc, char** argv) {
    occupy_closed_streams();
    std::signal(SIGXFSZ, SIG_IGN);  // if a file hits a size limit, writing it fails, but the run goes on
    return Norvane::Host::run_program(argc, argv, std::cout, std::cerr);
}
