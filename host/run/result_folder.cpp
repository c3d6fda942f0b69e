// SPDX-License-Identifier: Apache-2.0
#include "run/result_folder.h"

#include "io/refusal.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

namespace Norvane::Host {
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::string error_text(int error) { return std::error_code(error, std::generic_category()).message(); }

bool is_link(int folder, const std::string& name) {
    struct stat facts {};
    return fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(facts.st_mode);
}

// The metadata of a regular file. Nothing if there is no file.
std::optional<struct stat> facts_of(const ResultFolder& folder, const std::string& name) {
    struct stat facts {};
    if (fstatat(folder.descriptor(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) return std::nullopt;
        refuse_result(folder.path_of(name), errno);
    }
    if (S_ISLNK(facts.st_mode)) refuse_result(folder.path_of(name), "Is a link");
    if (S_ISDIR(facts.st_mode)) refuse_result(folder.path_of(name), EISDIR);
    if (!S_ISREG(facts.st_mode)) refuse_result(folder.path_of(name), "Is not a regular file");
    return facts;
}

}  // namespace

int Descriptor::close() {
    const int closed = std::exchange(number, -1);
    return closed >= 0 && ::close(closed) != 0 ? errno : 0;
}

int write_through(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return ::fsync(descriptor) != 0 && errno != EINVAL ? errno : 0;  // EINVAL: it is not on a disk
}

std::optional<std::vector<FolderEntry>> entries_of(int folder) {
    const int again = ::openat(folder, ".", kFolderFlags);
    const auto close = [](DIR* stream) { ::closedir(stream); };
    const std::unique_ptr<DIR, decltype(close)> stream(again < 0 ? nullptr : ::fdopendir(again), close);
    if (!stream) return std::nullopt;
    std::vector<FolderEntry> found;
    errno = 0;
    while (const dirent* entry = ::readdir(stream.get())) {
        bool is_file = entry->d_type == DT_REG;
        struct stat facts {};
        if (entry->d_type == DT_UNKNOWN && fstatat(folder, entry->d_name, &facts, AT_SYMLINK_NOFOLLOW) == 0) {
            is_file = S_ISREG(facts.st_mode);
        }
        found.push_back({entry->d_name, is_file});
        errno = 0;
    }
    return errno == 0 ? std::optional(std::move(found)) : std::nullopt;
}

void refuse_result(const std::filesystem::path& file, const std::string& reason) {
    throw Refusal("has results that cannot be written: " + file.string() + ": " + reason);
}

void refuse_result(const std::filesystem::path& file, int system_error) {
    refuse_result(file, error_text(system_error));
}

void refuse_foreign(const std::filesystem::path& file) { refuse_result(file, "Was not written by this program"); }

ResultFolder::ResultFolder(const std::filesystem::path& named)
    : folder(::open(named.c_str(), kFolderFlags)), path(named) {
    if (!folder.is_open()) refuse_result(named, errno);
}

std::optional<ResultFolder> ResultFolder::parent_of(const std::filesystem::path& name) const {
    return walk_to_parent_of(name, false);
}

ResultFolder ResultFolder::make_parent_of(const std::filesystem::path& name) const {
    return *walk_to_parent_of(name, true);
}

std::optional<ResultFolder> ResultFolder::walk_to_parent_of(const std::filesystem::path& name, bool makes) const {
    constexpr mode_t kForAll = 0777;  // minus the bits of the umask
    ResultFolder reached(Descriptor(::openat(folder.get(), ".", kFolderFlags)), path);
    if (!reached.folder.is_open()) refuse_result(path, errno);
    for (const std::filesystem::path& part : name.parent_path()) {
        const int above = reached.folder.get();
        std::filesystem::path place = reached.path / part;
        if (part == ".." || part.is_absolute()) refuse_result(place, "Leads out of the folder");
        if (makes && ::mkdirat(above, part.c_str(), kForAll) != 0 && errno != EEXIST) refuse_result(place, errno);
        Descriptor next(::openat(above, part.c_str(), kFolderFlags | O_NOFOLLOW));
        if (!next.is_open()) {
            const int error = errno;
            if (error == ENOENT && !makes) return std::nullopt;
            if (is_link(above, part)) refuse_result(place, "Is a link");
            refuse_result(place, error);
        }
        reached = ResultFolder(std::move(next), std::move(place));
    }
    return reached;
}

std::optional<std::uintmax_t> ResultFolder::size_of(const std::string& name) const {
    const auto facts = facts_of(*this, name);
    return facts ? std::optional(static_cast<std::uintmax_t>(facts->st_size)) : std::nullopt;
}

std::string ResultFolder::identity_of(const std::string& name) const {
    const auto facts = facts_of(*this, name);
    if (!facts) return {};
    return fmt::format("{}.{}.{}", facts->st_ino, facts->st_mtim.tv_sec, facts->st_mtim.tv_nsec);
}

std::optional<std::string> ResultFolder::read(const std::string& name, std::size_t most) const {
    const auto facts = facts_of(*this, name);
    if (!facts) return std::nullopt;
    const Descriptor file(
        ::openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat opened {};
    if (!file.is_open() || ::fstat(file.get(), &opened) != 0) refuse_result(path_of(name), errno);
    if (!S_ISREG(opened.st_mode)) refuse_result(path_of(name), "Is not a regular file");
    std::string bytes(std::min(most, static_cast<std::size_t>(opened.st_size)), '\0');
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) refuse_result(path_of(name), errno);
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

std::vector<FolderEntry> ResultFolder::entries() const {
    auto found = entries_of(folder.get());
    if (!found) refuse_result(path, errno);
    return *std::move(found);
}

}  // namespace Norvane::Host
