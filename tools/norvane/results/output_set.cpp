// SPDX-License-Identifier: Apache-2.0
#include "results/output_set.h"

#include "reading/refusal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace Norvane::Host {
namespace {

bool write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// 0 or the system's error. The bytes are on the disk before the file gets its name: a network or a full disk may say
/// only then that they are not, and no crash of the machine leaves an empty file that looks finished.
int write_file(const std::filesystem::path& file, std::string_view bytes) {
    constexpr mode_t kForAll = 0666;  // less what the user's mask takes away
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kForAll);
    if (descriptor < 0) return errno;
    int error = write_all(descriptor, bytes) ? 0 : errno;
    if (error == 0 && ::fsync(descriptor) != 0 && errno != EINVAL) error = errno;  // EINVAL: not a disk
    if (::close(descriptor) != 0 && error == 0) error = errno;
    return error;
}

[[noreturn]] void refuse(const std::filesystem::path& file, const std::string& reason) {
    throw Refusal("has results that cannot be written: " + file.string() + ": " + reason);
}

}  // namespace

OutputSet::~OutputSet() {
    std::error_code ignored;
    for (const auto& [temporary, file] : waiting) std::filesystem::remove(temporary, ignored);
}

void OutputSet::add(const std::filesystem::path& file, std::string_view bytes) {
    std::filesystem::path temporary = file;
    std::string name = ".";  // hidden, and unlike that of any other process
    name += file.filename().string();
    name += '.';
    name += std::to_string(getpid()) + ".tmp";
    temporary.replace_filename(name);
    waiting.emplace_back(temporary, file);
    const int error = write_file(temporary, bytes);
    if (error != 0) refuse(file, std::error_code(error, std::generic_category()).message());
}

std::vector<std::pair<std::filesystem::path, std::uintmax_t>> OutputSet::files() const {
    std::vector<std::pair<std::filesystem::path, std::uintmax_t>> sizes;
    sizes.reserve(waiting.size());
    for (const auto& [temporary, file] : waiting) sizes.emplace_back(file, std::filesystem::file_size(temporary));
    return sizes;
}

void OutputSet::commit() {
    while (!waiting.empty()) {
        const auto& [temporary, file] = waiting.front();
        std::error_code error;
        std::filesystem::rename(temporary, file, error);
        if (error) refuse(file, error.message());
        waiting.erase(waiting.begin());
    }
}

}  // namespace Norvane::Host
