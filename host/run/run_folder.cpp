// SPDX-License-Identifier: Apache-2.0
#include "run/run_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <utility>

namespace Norvane::Host {
namespace {

constexpr std::string_view kPrefix = ".norvane-run-";
constexpr std::size_t kRandomBytes = 16;
constexpr const char* kLock = "lock";
constexpr const char* kUnderWay = "under-way";
constexpr std::string_view kTemporary = "result-";
constexpr std::string_view kMagic = "norvane holds this file while it runs\n";
constexpr std::string_view kNotLocked = "norvane could not lock this file\n";
constexpr int kFileFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr int kNewFile = O_RDWR | O_CREAT | O_EXCL | kFileFlags;
constexpr off_t kSlotSize = 16384;  // long enough for the longest path with every byte escaped

bool is_run_name(std::string_view name) {
    return name.starts_with(kPrefix) && name.size() == kPrefix.size() + 2 * kRandomBytes &&
           name.find_first_not_of("0123456789abcdef", kPrefix.size()) == std::string_view::npos;
}

bool is_own_name(std::string_view name) {
    if (name.starts_with(kTemporary)) {
        return name.find_first_not_of("0123456789", kTemporary.size()) == std::string_view::npos;
    }
    return name == RunFolder::kAlive || name == kUnderWay;
}

// The lock is removed last, because whoever holds it may remove the rest.
void remove_run(int results, int folder, const std::string& name) {
    for (const FolderEntry& entry : entries_of(folder).value_or(std::vector<FolderEntry>{})) {
        if (is_own_name(entry.name)) (void)::unlinkat(folder, entry.name.c_str(), 0);
    }
    (void)::unlinkat(folder, kLock, 0);
    (void)::unlinkat(results, name.c_str(), AT_REMOVEDIR);
}

// Reads at most `most_bytes`, because somebody else may have written the file and it may have any size.
std::string read_at_most(int descriptor, std::size_t most_bytes) {
    std::string bytes;
    std::array<char, kSlotSize> part{};
    for (ssize_t count = 1; count > 0 && bytes.size() < most_bytes;) {
        const std::size_t wanted = std::min(part.size(), most_bytes - bytes.size());
        count = ::pread(descriptor, part.data(), wanted, static_cast<off_t>(bytes.size()));
        if (count > 0) bytes.append(part.data(), static_cast<std::size_t>(count));
    }
    return bytes;
}

std::vector<std::string> lines_under_way(int folder) {
    std::vector<std::string> lines;
    if (::faccessat(folder, RunFolder::kAlive, F_OK, AT_SYMLINK_NOFOLLOW) != 0) return lines;
    const Descriptor file(::openat(folder, kUnderWay, O_RDONLY | kFileFlags));
    constexpr std::size_t kMostSlots = 4096;  // more than a run has threads
    const std::string slots = file.is_open() ? read_at_most(file.get(), kMostSlots * kSlotSize) : std::string();
    for (std::size_t at = 0; at < slots.size(); at += kSlotSize) {
        const std::string slot = slots.substr(at, kSlotSize);
        const std::size_t end = slot.find('\n');
        if (slot.front() != '\0' && end != std::string::npos) lines.push_back(slot.substr(0, end));
    }
    return lines;
}

// The open and locked lock file if the run that created the folder is dead; otherwise not open.
Descriptor lock_of_dead(int folder) {
    struct stat facts {};
    if (::fstat(folder, &facts) != 0 || facts.st_uid != ::geteuid()) return Descriptor();
    Descriptor lock(::openat(folder, kLock, O_RDWR | kFileFlags));
    const auto is_own_file = [&] {
        return ::fstat(lock.get(), &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_uid == ::geteuid() &&
               facts.st_nlink == 1;
    };
    if (!lock.is_open() || !is_own_file() || ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return Descriptor();
    const std::string text =
        is_own_file() ? read_at_most(lock.get(), kMagic.size() + 1) : std::string(kNotLocked);  // removed meanwhile
    return text.empty() || text == kMagic ? std::move(lock) : Descriptor();  // empty: it died while it wrote the file
}

// Calls visit(folder, name) with the open folder of each run, living or dead.
template <class Visitor>
void for_each_run(const ResultFolder& results, const Visitor& visit) {
    for (const FolderEntry& entry : results.entries()) {
        if (!is_run_name(entry.name)) continue;
        const Descriptor folder(
            ::openat(results.descriptor(), entry.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (folder.is_open()) visit(folder.get(), entry.name);
    }
}

}  // namespace

std::string random_name(std::string_view prefix) {
    std::array<std::uint8_t, kRandomBytes> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) return {};
    std::string text(prefix);
    for (const unsigned byte : random) {
        char digits[3];
        (void)std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

RunFolder::RunFolder(const ResultFolder& results, std::string run_key)
    : above(results.descriptor()), key(std::move(run_key)), maker(::getpid()) {
    constexpr int kTries = 8;  // before the folder has a lock, another run may take it for that of a dead run
    for (int tries = 0; tries < kTries; ++tries) {
        if (try_to_make()) return;
        const int error = errno;
        if (folder.is_open()) remove_run(above, folder.get(), name);
        if (error != ENOENT && error != EWOULDBLOCK && error != EEXIST) refuse_result(results.path_of(name), error);
    }
    refuse_result(results.path_of(name), "Other runs remove it again and again");
}

bool RunFolder::try_to_make() {
    constexpr mode_t kForUser = 0700;
    folder = Descriptor();
    name = random_name(kPrefix);
    if (name.empty() || ::mkdirat(above, name.c_str(), kForUser) != 0) return false;
    folder = Descriptor(::openat(above, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.is_open()) return false;  // while it was empty, another run took it for that of a dead run
    lock = Descriptor(::openat(folder.get(), kLock, kNewFile, kForUser));
    if (!lock.is_open()) return false;
    const bool is_locked = ::flock(lock.get(), LOCK_EX | LOCK_NB) == 0;
    if (!is_locked && errno == EWOULDBLOCK) return false;
    struct stat facts {};
    if (::fstat(lock.get(), &facts) != 0 || facts.st_nlink == 0) {
        errno = ENOENT;
        return false;
    }
    under_way = Descriptor(::openat(folder.get(), kUnderWay, kNewFile, kForUser));
    const Descriptor alive(::openat(folder.get(), kAlive, kNewFile, kForUser));
    const auto write = [](const Descriptor& file, std::string_view text) {
        return file.is_open() && ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    };
    return under_way.is_open() && write(alive, key) && write(lock, is_locked ? kMagic : kNotLocked);
}

RunFolder::~RunFolder() { remove_all(); }

bool RunFolder::is_of_this_process() const { return maker == ::getpid(); }

void RunFolder::remove_all() const {
    if (is_of_this_process()) remove_run(above, folder.get(), name);
}

RunFolder::Temporary RunFolder::make_temporary() const {
    constexpr mode_t kForAll = 0666;  // minus the bits of the umask
    std::string file = std::string(kTemporary) + std::to_string(next_temporary++);
    Descriptor opened(::openat(folder.get(), file.c_str(), kNewFile, kForAll));
    return {std::move(file), std::move(opened)};
}

void RunFolder::remove_temporary(const std::string& file) const { (void)::unlinkat(folder.get(), file.c_str(), 0); }

int RunFolder::move_to(const ResultFolder& place, const std::string& file, const std::string& temporary,
                       bool replaces) const {
    const int from = folder.get();
    const int to = place.descriptor();
    const auto error_of = [](int answer) { return answer == 0 ? 0 : errno; };
    if (replaces) return error_of(::renameat(from, temporary.c_str(), to, file.c_str()));
    int error = error_of(::renameat2(from, temporary.c_str(), to, file.c_str(), RENAME_NOREPLACE));
    if (error != EINVAL && error != ENOSYS) return error;
    // For file systems that do not support this: a hard link never replaces an existing file.
    error = error_of(::linkat(from, temporary.c_str(), to, file.c_str(), 0));
    if (error == 0) remove_temporary(temporary);
    if (error == 0 || error == EEXIST || error == EXDEV) return error;
    // For those that do not support hard links either. Here a file that appears between the check and the renaming is
    // replaced.
    if (place.size_of(file)) return EEXIST;
    return error_of(::renameat(from, temporary.c_str(), to, file.c_str()));
}

RunFolder::UnderWay::UnderWay(const RunFolder& run_folder, const std::string& text) : run(run_folder), slot(0) {
    const std::scoped_lock hold(run.slots_mutex);
    if (run.free_slots.empty()) {
        slot = run.next_slot++;
    } else {
        slot = run.free_slots.back();
        run.free_slots.pop_back();
    }
    const std::string line = text + "\n";
    if (line.size() > static_cast<std::size_t>(kSlotSize)) return;  // no file can have such a long name
    (void)!::pwrite(run.under_way.get(), line.data(), line.size(), kSlotSize * static_cast<off_t>(slot));
}

RunFolder::UnderWay::~UnderWay() {
    const std::scoped_lock hold(run.slots_mutex);
    constexpr char kNothing = '\0';
    (void)!::pwrite(run.under_way.get(), &kNothing, 1, kSlotSize * static_cast<off_t>(slot));
    run.free_slots.push_back(slot);
}

void pardon_runs(const ResultFolder& results, const std::string& key) {
    for_each_run(results, [&key](int folder, const std::string&) {
        const Descriptor alive(::openat(folder, RunFolder::kAlive, O_RDONLY | kFileFlags));
        if (alive.is_open() && read_at_most(alive.get(), key.size() + 1) == key)
            (void)::unlinkat(folder, RunFolder::kAlive, 0);
    });
}

void clear_dead_runs(const ResultFolder& results, const std::function<void(const std::vector<std::string>&)>& take) {
    for_each_run(results, [&](int folder, const std::string& name) {
        const Descriptor lock = lock_of_dead(folder);
        if (!lock.is_open()) {
            (void)::unlinkat(results.descriptor(), name.c_str(), AT_REMOVEDIR);  // only succeeds if it is empty
            return;
        }
        const std::vector<std::string> lines = lines_under_way(folder);
        (void)::unlinkat(folder, RunFolder::kAlive, 0);  // so that they count only once, even if this run dies now
        take(lines);
        remove_run(results.descriptor(), folder, name);
    });
}

}  // namespace Norvane::Host
