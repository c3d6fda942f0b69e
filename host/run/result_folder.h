// SPDX-License-Identifier: Apache-2.0
/// The folder of a run's results, as an open descriptor: nobody can exchange it, or a folder below it, while the run
/// goes on.
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

/// An open file or folder, which it closes.
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
    /// 0 or the system's error: networks may say only then that bytes were lost.
    int close();

private:
    int number;
};

struct FolderEntry {
    std::string name;
    bool is_file;  ///< a regular one
};
/// What lies in an open folder, in no order. Nothing if it cannot be read; errno then tells why.
[[nodiscard]] std::optional<std::vector<FolderEntry>> entries_of(int folder);

/// Writes all bytes to the disk. Returns 0 or the system's error.
[[nodiscard]] int write_through(int descriptor, std::string_view bytes);

/// Throws Refusal: the result `file` cannot be written because of `reason`.
[[noreturn]] void refuse_result(const std::filesystem::path& file, const std::string& reason);
[[noreturn]] void refuse_result(const std::filesystem::path& file, int system_error);
/// The same: a file of somebody else lies in its place.
[[noreturn]] void refuse_foreign(const std::filesystem::path& file);

/// Below the folder that the user named no link is followed, and only regular files are read. Whatever else lies in a
/// result's place is refused by name, and nothing waits for it. Every function throws Refusal.
class ResultFolder {
public:
    /// A folder that exists. It may be named by way of links.
    explicit ResultFolder(const std::filesystem::path& named);

    /// The folder in which the result `name`, a path below this folder, has its place. Nothing if there is none.
    [[nodiscard]] std::optional<ResultFolder> parent_of(const std::filesystem::path& name) const;
    /// The same; missing folders are made.
    [[nodiscard]] ResultFolder make_parent_of(const std::filesystem::path& name) const;

    /// Size in bytes of the regular file `name` in this very folder. Nothing if there is none.
    [[nodiscard]] std::optional<std::uintmax_t> size_of(const std::string& name) const;
    /// The first bytes of the file, up to `most`.
    [[nodiscard]] std::optional<std::string> read(const std::string& name, std::size_t most = kMostRead) const;
    /// A text that changes when another file takes the place; empty if there is none.
    [[nodiscard]] std::string identity_of(const std::string& name) const;

    /// What lies in this very folder, in no order.
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
