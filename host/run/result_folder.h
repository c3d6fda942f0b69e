// SPDX-License-Identifier: Apache-2.0
/// The folder of a run's results, held as an open descriptor. While the run goes on, nobody can exchange the folder or
/// one below it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Norvane::Host {

/// Owns the descriptor of an open file or folder.
class Descriptor {
public:
    explicit Descriptor(int opened = -1) : number(opened) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    [[nodiscard]] int get() const { return number; }
    [[nodiscard]] bool is_open() const { return number >= 0; }
    /// Returns 0 or the system's error. A network file system may report only here that bytes were lost.
    int close();

private:
    int number;
};

struct FolderEntry {
    std::string name;
    bool is_file;  ///< a regular file
};
/// The entries of an open folder, in no particular order. Nothing if it cannot be read; errno then says why.
[[nodiscard]] std::optional<std::vector<FolderEntry>> entries_of(int folder);

/// Writes all bytes to the disk. Returns 0 or the system's error.
[[nodiscard]] int write_through(int descriptor, std::string_view bytes);

/// Throws Refusal: the result `file` cannot be written because of `reason`.
[[noreturn]] void refuse_result(const std::filesystem::path& file, const std::string& reason);
[[noreturn]] void refuse_result(const std::filesystem::path& file, int system_error);
/// Throws the same Refusal because another program's file has the name.
[[noreturn]] void refuse_foreign(const std::filesystem::path& file);

/// Below the folder that the user named, no link is followed and only regular files are read. If anything else has the
/// name of a result, the refusal names it. Nothing waits, not even for a pipe. Every function throws Refusal.
class ResultFolder {
public:
    /// The folder must exist. Its own path may contain links.
    explicit ResultFolder(const std::filesystem::path& named);

    /// The folder that holds the result `name`, a path below this folder. Nothing if it does not exist.
    [[nodiscard]] std::optional<ResultFolder> parent_of(const std::filesystem::path& name) const;
    /// The same, but creates missing folders.
    [[nodiscard]] ResultFolder make_parent_of(const std::filesystem::path& name) const;

    /// Size in bytes of the regular file `name` directly in this folder. Nothing if there is none.
    [[nodiscard]] std::optional<std::uintmax_t> size_of(const std::string& name) const;
    /// At most the first `most` bytes of the file.
    [[nodiscard]] std::optional<std::string> read(const std::string& name, std::size_t most = kMostRead) const;
    /// A text that changes if another file takes this name; empty if there is no file.
    [[nodiscard]] std::string identity_of(const std::string& name) const;

    /// The entries directly in this folder, in no particular order.
    [[nodiscard]] std::vector<FolderEntry> entries() const;

    [[nodiscard]] std::filesystem::path path_of(const std::string& name) const { return path / name; }
    [[nodiscard]] int descriptor() const { return folder.get(); }

private:
    static constexpr std::size_t kMostRead = std::size_t{1} << 20;

    ResultFolder(Descriptor opened, std::filesystem::path its_path) : folder(std::move(opened)), path(its_path) {}
    [[nodiscard]] std::optional<ResultFolder> walk_to_parent_of(const std::filesystem::path& name, bool makes) const;

    Descriptor folder;
    std::filesystem::path path;  // for messages
};

}  // namespace Norvane::Host
