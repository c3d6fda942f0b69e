// SPDX-License-Identifier: Apache-2.0
#include "results/output_set.h"

#include "reading/refusal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <random>
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

// Processes of several machines or containers have the same numbers, and two of them may come to make the same image,
// when one was taken for lost.
std::string number_of_this_process() {
    static const std::string chance = [] {
        constexpr std::size_t kWidth = 10;
        const std::string digits = std::to_string(std::random_device()());
        return std::string(kWidth - digits.size(), '0') + digits;
    }();
    return std::to_string(getpid()) + chance;
}

// Hidden, and unlike that of any other process: .NAME.NUMBER.tmp
constexpr const char* kTemporaryEnding = ".tmp";
constexpr const char* kDigits = "0123456789";

std::filesystem::path temporary_of(const std::filesystem::path& file) {
    std::string name = ".";
    name += file.filename().string();
    name += '.';
    name += number_of_this_process();
    return file.parent_path() / (name + kTemporaryEnding);
}

// /dev/stdout is a link that may lead to a file; it must stay all the same.
bool is_device_or_pipe(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::is_other(file, ignored) || file.parent_path() == "/dev";
}

[[noreturn]] void refuse(const std::filesystem::path& file, const std::string& reason) {
    throw Refusal("has results that cannot be written: " + file.string() + ": " + reason);
}

}  // namespace

std::filesystem::path result_of_temporary(const std::filesystem::path& file) {
    const std::filesystem::path inner = file.stem();  // .NAME.NUMBER
    const std::string process = inner.extension().string();
    const std::string name = inner.stem().string();
    if (file.extension() != kTemporaryEnding || process.size() < 2 || name.size() < 2 || name.front() != '.') return {};
    if (process.find_first_not_of(kDigits, 1) != std::string::npos) return {};
    return file.parent_path() / name.substr(1);
}

OutputSet::~OutputSet() {
    std::error_code ignored;
    for (const auto& [temporary, file] : waiting) std::filesystem::remove(temporary, ignored);
}

void OutputSet::add(const std::filesystem::path& file, std::string_view bytes) {
    const bool is_written_at_once = is_device_or_pipe(file);
    const std::filesystem::path temporary = is_written_at_once ? file : temporary_of(file);
    if (!is_written_at_once) waiting.emplace_back(temporary, file);
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
