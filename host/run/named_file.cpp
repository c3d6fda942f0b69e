// SPDX-License-Identifier: Apache-2.0
#include "run/named_file.h"

#include "run/result_folder.h"
#include "run/run_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

// /dev/stdout is a link that may lead to a regular file, but it must not be replaced.
bool is_device_or_pipe(const fs::path& file) {
    std::error_code ignored;
    return fs::is_other(file, ignored) || file.parent_path() == "/dev";
}

// If nobody reads a pipe, that is an error. The function does not wait for a reader.
void write_at_once(const fs::path& file, std::string_view bytes) {
    // If standard output goes to a file, opening it again would write from its beginning, so the descriptor is copied.
    Descriptor opened(file == "/dev/stdout" ? ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                            : ::open(file.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!opened.is_open()) refuse_result(file, errno);
    const int flags = ::fcntl(opened.get(), F_GETFL);
    (void)::fcntl(opened.get(), F_SETFL, flags & ~O_NONBLOCK);
    const int error = write_through(opened.get(), bytes);
    if (error != 0) refuse_result(file, error);
}

}  // namespace

void write_named_file(const fs::path& file, std::string_view bytes) {
    if (is_device_or_pipe(file)) return write_at_once(file, bytes);
    constexpr mode_t kForAll = 0666;  // minus the bits of the umask
    const ResultFolder folder(file.has_parent_path() ? file.parent_path() : fs::path("."));
    const std::string temporary = random_name(".norvane-");
    Descriptor opened(::openat(folder.descriptor(), temporary.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kForAll));
    if (!opened.is_open()) refuse_result(file, errno);
    int error = write_through(opened.get(), bytes);
    const int close_error = opened.close();
    if (error == 0) error = close_error;
    const std::string name = file.filename().string();
    if (error == 0 && ::renameat(folder.descriptor(), temporary.c_str(), folder.descriptor(), name.c_str()) != 0) {
        error = errno;
    }
    if (error == 0) return;
    (void)::unlinkat(folder.descriptor(), temporary.c_str(), 0);
    refuse_result(file, error);
}

}  // namespace Norvane::Host
