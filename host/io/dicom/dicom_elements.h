// SPDX-License-Identifier: Apache-2.0
/// Reads the elements of a DICOM data set in the order of the file. The toolkit is not used, because it would load all
/// of them.
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

/// How elements are encoded.
struct ElementEncoding {
    bool names_types;    ///< "explicit": each element names its value representation
    bool is_big_endian;  ///< byte order of tags, lengths and words of pixels

    bool operator==(const ElementEncoding&) const = default;
};

/// The head of an element: all that precedes its value.
struct ElementHead {
    static constexpr std::uint32_t kUndefinedLength = 0xFFFFFFFF;  ///< the value ends with a delimiter
    static constexpr std::uint16_t kDelimiterGroup = 0xFFFE;       ///< group of items and their delimiters

    std::uint16_t group = 0;
    std::uint16_t number = 0;
    std::array<char, 2> type{};  ///< the value representation, such as "OW"; zeros if the element does not name it
    std::uint32_t length = 0;    ///< of the value in bytes
    std::array<std::uint8_t, 12> bytes{};  ///< the head as it stands in the file
    std::size_t byte_count = 0;            ///< number of valid bytes in `bytes`

    [[nodiscard]] std::uint32_t tag() const { return std::uint32_t{group} << 16 | number; }
    [[nodiscard]] bool has_type(std::string_view name) const { return std::string_view(type.data(), 2) == name; }
    [[nodiscard]] std::span<const std::uint8_t> as_written() const { return std::span(bytes).first(byte_count); }
    /// How many bytes at the end of the head hold the length.
    [[nodiscard]] std::size_t length_bytes() const { return byte_count == 8 && type[0] != 0 ? 2 : 4; }
    [[nodiscard]] bool is_endless() const { return length == kUndefinedLength; }
};

/// Collects the bytes of the elements that are kept, up to a limit.
class ElementCopy {
public:
    explicit ElementCopy(std::size_t limit) : most_bytes(limit) {}

    /// Adds room for `count` bytes at the end and returns it. Throws Refusal if the limit does not allow it.
    [[nodiscard]] std::span<std::uint8_t> grow(std::size_t count);
    void add(std::span<const std::uint8_t> bytes) { std::ranges::copy(bytes, grow(bytes.size()).begin()); }
    [[nodiscard]] const std::vector<std::uint8_t>& bytes() const { return kept; }

private:
    std::size_t most_bytes;
    std::vector<std::uint8_t> kept;
};

/// Reads the elements of a source one after another. Every read throws Refusal if the source ends too early.
class ElementReader {
public:
    /// Keeps a reference to `source`.
    ElementReader(ByteSource& source, const ElementEncoding& written_as) : bytes(source), encoding(written_as) {}

    /// Reads the next head. Returns nothing at the end of the source.
    [[nodiscard]] std::optional<ElementHead> next();

    /// Skips the value of `head`, which must be the last head that was read. A value of undefined length is skipped
    /// item by item. This does not recurse, because a hostile file may nest thousands of them.
    void skip_value(const ElementHead& head) { pass_value(head, nullptr); }

    /// Appends the bytes of the value to `copy`, unchanged.
    void copy_value(const ElementHead& head, ElementCopy& copy) { pass_value(head, &copy); }

    /// Appends only the item `wanted` of a sequence, counted from 0. The copied sequence is written with undefined
    /// length, so the caller must give undefined length to the head that it writes before it.
    void copy_item(const ElementHead& sequence, unsigned wanted, ElementCopy& copy);

private:
    [[nodiscard]] std::optional<ElementHead> next_head(bool names_types);
    void pass_value(const ElementHead& head, ElementCopy* copy);
    void pass_items(const ElementHead& sequence, ElementCopy* copy);
    void pass_bytes(std::uint32_t count, ElementCopy* copy);

    ByteSource& bytes;
    ElementEncoding encoding;
    std::uint64_t position = 0;  // number of bytes that were read or skipped
    std::uint32_t heads = 0;     // number of heads that were read, at all levels
};

/// Recognises the encoding of a data set by its first bytes, at least 6.
[[nodiscard]] ElementEncoding encoding_of_start(std::span<const std::uint8_t> first_bytes);

[[noreturn]] void refuse_truncated_dicom();

}  // namespace Norvane::Host
