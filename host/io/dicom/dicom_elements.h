// SPDX-License-Identifier: Apache-2.0
/// The elements of a DICOM data set in the order of the file, without the toolkit: it would load all of them.
#pragma once

#include "io/byte_source.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Norvane::Host {

/// How elements are written.
struct ElementEncoding {
    bool names_types;    ///< "explicit": each element says its value representation
    bool is_big_endian;  ///< tags and lengths; words of pixels as well

    bool operator==(const ElementEncoding&) const = default;
};

/// What stands before the value of an element.
struct ElementHead {
    static constexpr std::uint32_t kUndefinedLength = 0xFFFFFFFF;  ///< the value ends with a delimiter
    static constexpr std::uint16_t kDelimiterGroup = 0xFFFE;       ///< of items and their delimiters

    std::uint16_t group = 0;
    std::uint16_t number = 0;
    std::array<char, 2> type{};  ///< the value representation, such as "OW"; zeros if the element does not say it
    std::uint32_t length = 0;    ///< of the value in bytes
    std::array<std::uint8_t, 12> bytes{};  ///< the head as the file has it
    std::size_t byte_count = 0;            ///< of `bytes`

    [[nodiscard]] std::uint32_t tag() const { return std::uint32_t{group} << 16 | number; }
    [[nodiscard]] bool has_type(std::string_view name) const { return std::string_view(type.data(), 2) == name; }
    [[nodiscard]] std::span<const std::uint8_t> as_written() const { return std::span(bytes).first(byte_count); }
    /// How many bytes at the end of the head hold the length.
    [[nodiscard]] std::size_t length_bytes() const { return byte_count == 8 && type[0] != 0 ? 2 : 4; }
    [[nodiscard]] bool is_endless() const { return length == kUndefinedLength; }
};

/// Bytes of elements that are kept, up to a limit.
class ElementCopy {
public:
    explicit ElementCopy(std::size_t limit) : most_bytes(limit) {}

    /// Room for more bytes at the end. Throws Refusal if the limit does not allow it.
    [[nodiscard]] std::span<std::uint8_t> grow(std::size_t count);
    void add(std::span<const std::uint8_t> bytes) { std::ranges::copy(bytes, grow(bytes.size()).begin()); }
    [[nodiscard]] const std::vector<std::uint8_t>& bytes() const { return kept; }

private:
    std::size_t most_bytes;
    std::vector<std::uint8_t> kept;
};

/// Walks through the elements of a source. Every read throws Refusal if the source ends too early.
class ElementReader {
public:
    /// Keeps a reference to `source`.
    ElementReader(ByteSource& source, const ElementEncoding& written_as) : bytes(source), encoding(written_as) {}

    /// The next head; nothing at the end of the source.
    [[nodiscard]] std::optional<ElementHead> next();

    /// Passes over the value of `head`, which was the last head. A value of undefined length is walked through item by
    /// item, without the stack of the processor: a hostile file may nest thousands of them.
    void skip_value(const ElementHead& head) { pass_value(head, nullptr); }

    /// Appends the bytes of the value, as they are, to `copy`.
    void copy_value(const ElementHead& head, ElementCopy& copy) { pass_value(head, &copy); }

    /// The same of a sequence of which the item `wanted` alone is kept, counted from 0. Its length is undefined then,
    /// and so must be the one in the head before it.
    void copy_item(const ElementHead& sequence, unsigned wanted, ElementCopy& copy);

private:
    [[nodiscard]] std::optional<ElementHead> next_head(bool names_types);
    void pass_value(const ElementHead& head, ElementCopy* copy);
    void pass_items(const ElementHead& sequence, ElementCopy* copy);
    void pass_bytes(std::uint32_t count, ElementCopy* copy);

    ByteSource& bytes;
    ElementEncoding encoding;
    std::uint64_t position = 0;  // bytes that were read or passed over
    std::uint32_t heads = 0;     // that were read, at all levels
};

/// The encoding that the first bytes of a data set show. They hold at least 6 bytes.
[[nodiscard]] ElementEncoding encoding_of_start(std::span<const std::uint8_t> first_bytes);

[[noreturn]] void refuse_truncated_dicom();

}  // namespace Norvane::Host
