// SPDX-License-Identifier: Apache-2.0
#include "io/byte_source.h"

#include "io/refusal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

namespace Norvane::Host {
namespace {

[[noreturn]] void refuse_to_open(int error) {
    if (error == ENOENT || error == ENOTDIR) throw Refusal("does not exist");
    if (error == ENXIO) throw Refusal("is not a file");  // a socket
    throw Refusal(std::string("cannot be opened: ") + std::strerror(error));
}

}  // namespace

std::size_t MemoryBytes::read(std::span<std::uint8_t> to) {
    const std::size_t count = std::min(to.size(), rest.size());
    std::ranges::copy(rest.first(count), to.begin());
    rest = rest.subspan(count);
    return count;
}

bool MemoryBytes::skip(std::uint64_t count) {
    const bool is_there = count <= rest.size();
    rest = rest.subspan(is_there ? static_cast<std::size_t>(count) : rest.size());
    return is_there;
}

FileBytes::FileBytes(const std::filesystem::path& file)
    : descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    if (descriptor < 0) refuse_to_open(errno);
    struct stat facts {};
    const bool is_known = ::fstat(descriptor, &facts) == 0;
    if (is_known && S_ISREG(facts.st_mode)) {
        file_size = static_cast<std::uint64_t>(facts.st_size);
        return;
    }
    ::close(descriptor);
    throw Refusal(is_known && S_ISDIR(facts.st_mode) ? "is a directory" : "is not a file");
}

FileBytes::~FileBytes() { ::close(descriptor); }

std::size_t FileBytes::read_at(std::uint64_t position, std::span<std::uint8_t> to) const {
    std::size_t count = 0;
    while (count < to.size()) {
        const auto place = static_cast<off_t>(position + count);
        const ssize_t got = ::pread(descriptor, to.data() + count, to.size() - count, place);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw Refusal(std::string("cannot be read: ") + std::strerror(errno));
        if (got == 0) break;
        count += static_cast<std::size_t>(got);
    }
    return count;
}

std::span<const std::uint8_t> FileBytes::peek(std::size_t count) {
    count = std::min(count, kMostPeeked);
    if (buffer.size() - at < count) {
        const std::uint64_t start = position();
        buffer.resize(kMostPeeked);
        buffer.resize(read_at(start, buffer));
        buffer_start = start;
        at = 0;
    }
    return std::span(buffer).subspan(at, std::min(count, buffer.size() - at));
}

std::size_t FileBytes::read(std::span<std::uint8_t> to) {
    const bool is_long = to.size() >= kMostPeeked;
    const auto known = is_long ? std::span<const std::uint8_t>(buffer).subspan(at) : peek(to.size());
    const std::size_t from_buffer = std::min(known.size(), to.size());
    std::copy_n(known.begin(), from_buffer, to.begin());
    at += from_buffer;
    if (from_buffer == to.size() || !is_long) return from_buffer;
    const std::size_t rest = read_at(position(), to.subspan(from_buffer));
    seek(position() + rest);
    return from_buffer + rest;
}

void FileBytes::seek(std::uint64_t position) {
    if (position >= buffer_start && position - buffer_start <= buffer.size()) {
        at = static_cast<std::size_t>(position - buffer_start);
        return;
    }
    buffer.clear();
    buffer_start = position;
    at = 0;
}

bool FileBytes::skip(std::uint64_t count) {
    if (position() > file_size || count > file_size - position()) return false;
    seek(position() + count);
    return true;
}

}  // namespace Norvane::Host
