// SPDX-License-Identifier: Apache-2.0
/// Bytes of a file, one after another, of which never more than a small buffer is in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace Norvane::Host {

class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// The next bytes, up to the room in `to`. Returns how many there were: fewer only at the end.
    virtual std::size_t read(std::span<std::uint8_t> to) = 0;

    /// Passes over bytes. Returns false if there are fewer than `count`.
    virtual bool skip(std::uint64_t count) = 0;
};

/// A regular file. Opening it never waits: a pipe or a device in its place is refused.
class FileBytes final : public ByteSource {
public:
    /// Throws Refusal if the file cannot be opened.
    explicit FileBytes(const std::filesystem::path& file);
    ~FileBytes() override;
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    /// Throws Refusal if the system cannot read.
    std::size_t read(std::span<std::uint8_t> to) override;
    bool skip(std::uint64_t count) override;

    /// The next bytes, which stay to be read: `count` of them, or as many as there are. At most kMostPeeked.
    [[nodiscard]] std::span<const std::uint8_t> peek(std::size_t count);
    static constexpr std::size_t kMostPeeked = std::size_t{1} << 16;

    /// Bytes before the next one.
    [[nodiscard]] std::uint64_t position() const { return buffer_start + at; }
    void seek(std::uint64_t position);

    /// Bytes of the file when it was opened.
    [[nodiscard]] std::uint64_t size() const { return file_size; }

private:
    [[nodiscard]] std::size_t read_at(std::uint64_t position, std::span<std::uint8_t> to) const;

    int descriptor;
    std::uint64_t file_size = 0;
    std::uint64_t buffer_start = 0;  // its place in the file
    std::size_t at = 0;              // the next byte in the buffer
    std::vector<std::uint8_t> buffer;
};

}  // namespace Norvane::Host
