// SPDX-License-Identifier: Apache-2.0
/// Bytes that are read one after another. Only a small buffer of them is in memory at a time.
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

    /// Fills `to` with the next bytes. Returns how many there were: fewer than the size of `to` only at the end.
    virtual std::size_t read(std::span<std::uint8_t> to) = 0;

    /// Skips `count` bytes. Returns false if there are fewer.
    virtual bool skip(std::uint64_t count) = 0;
};

/// Bytes in memory, which must stay there.
class MemoryBytes final : public ByteSource {
public:
    explicit MemoryBytes(std::span<const std::uint8_t> bytes) : rest(bytes) {}
    std::size_t read(std::span<std::uint8_t> to) override;
    bool skip(std::uint64_t count) override;

private:
    std::span<const std::uint8_t> rest;
};

/// A regular file. Opening it never waits, because pipes and devices are refused.
class FileBytes final : public ByteSource {
public:
    /// Throws Refusal if the file cannot be opened.
    explicit FileBytes(const std::filesystem::path& file);
    ~FileBytes() override;
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    /// Throws Refusal if reading fails.
    std::size_t read(std::span<std::uint8_t> to) override;
    bool skip(std::uint64_t count) override;

    /// The next `count` bytes, which stay unread: at most kMostPeeked, and fewer at the end of the file.
    [[nodiscard]] std::span<const std::uint8_t> peek(std::size_t count);
    static constexpr std::size_t kMostPeeked = std::size_t{1} << 16;

    /// Position of the next byte in the file.
    [[nodiscard]] std::uint64_t position() const { return buffer_start + at; }
    void seek(std::uint64_t position);

    /// Size of the file in bytes when it was opened.
    [[nodiscard]] std::uint64_t size() const { return file_size; }

private:
    [[nodiscard]] std::size_t read_at(std::uint64_t position, std::span<std::uint8_t> to) const;

    int descriptor;
    std::uint64_t file_size = 0;
    std::uint64_t buffer_start = 0;  // position of the buffer in the file
    std::size_t at = 0;              // index of the next byte in the buffer
    std::vector<std::uint8_t> buffer;
};

}  // namespace Norvane::Host
