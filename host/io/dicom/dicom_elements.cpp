// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_elements.h"

#include "io/refusal.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

namespace Norvane::Host {
namespace {

constexpr std::uint16_t kItemEnd = 0xE00D;
constexpr std::uint16_t kSequenceEnd = 0xE0DD;

bool is_upper_case(char c) { return c >= 'A' && c <= 'Z'; }

// The length of these types has four bytes and follows two reserved bytes.
constexpr std::string_view kLongTypes[] = {"OB", "OW", "OF", "OD", "OL", "OV", "SQ",
                                           "UN", "UC", "UR", "UT", "SV", "UV"};
constexpr std::string_view kShortTypes[] = {"AE", "AS", "AT", "CS", "DA", "DS", "DT", "FL", "FD", "IS", "LO",
                                            "LT", "PN", "SH", "SL", "SS", "ST", "TM", "UI", "UL", "US"};

// Types that a later edition of the standard may add have the long form. If the two bytes are not capital letters, a
// careless program wrote them, and such programs use the short form.
bool has_long_form(const std::array<char, 2>& type) {
    const std::string_view name(type.data(), type.size());
    if (std::ranges::find(kLongTypes, name) != std::end(kLongTypes)) return true;
    if (std::ranges::find(kShortTypes, name) != std::end(kShortTypes)) return false;
    return is_upper_case(name[0]) && is_upper_case(name[1]);
}

std::uint32_t number_of(std::span<const std::uint8_t> bytes, bool is_big_endian) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        number = number << 8U | bytes[is_big_endian ? i : bytes.size() - 1 - i];
    }
    return number;
}

}  // namespace

void refuse_truncated_dicom() { throw Refusal("is a damaged or truncated DICOM file: it ends within a value"); }

std::span<std::uint8_t> ElementCopy::grow(std::size_t count) {
    if (count > most_bytes - kept.size()) {
        throw Refusal(fmt::format("has a header of more than {} KiB", most_bytes / 1024));
    }
    kept.resize(kept.size() + count);
    return std::span(kept).last(count);
}

ElementEncoding encoding_of_start(std::span<const std::uint8_t> first_bytes) {
    const auto letter = [&](std::size_t i) { return static_cast<char>(first_bytes[i]); };
    return {is_upper_case(letter(4)) && is_upper_case(letter(5)), first_bytes[0] == 0 && first_bytes[1] != 0};
}

std::optional<ElementHead> ElementReader::next() { return next_head(encoding.names_types); }

std::optional<ElementHead> ElementReader::next_head(bool names_types) {
    // A sparse file can hold any number of empty elements. This limit stops it after a few seconds.
    constexpr std::uint32_t kMostHeads = 1U << 24;
    if (++heads > kMostHeads) throw Refusal(fmt::format("has more than {} elements", kMostHeads));
    ElementHead head;
    const auto take = [&](std::size_t count) {
        const auto to = std::span(head.bytes).subspan(head.byte_count, count);
        const std::size_t got = bytes.read(to);
        position += got;
        head.byte_count += got;
        if (got < count && head.byte_count > 0) refuse_truncated_dicom();
        return std::span<const std::uint8_t>(to).first(got);
    };
    const auto tag = take(4);
    if (tag.empty()) return std::nullopt;
    head.group = static_cast<std::uint16_t>(number_of(tag.first(2), encoding.is_big_endian));
    head.number = static_cast<std::uint16_t>(number_of(tag.last(2), encoding.is_big_endian));
    if (!names_types || head.group == ElementHead::kDelimiterGroup) {
        head.length = number_of(take(4), encoding.is_big_endian);
        return head;
    }
    const auto type = take(4);  // with the length of the short form, or the reserved bytes
    std::ranges::transform(type.first(2), head.type.begin(), [](std::uint8_t c) { return static_cast<char>(c); });
    head.length = number_of(has_long_form(head.type) ? take(4) : type.last(2), encoding.is_big_endian);
    return head;
}

void ElementReader::pass_value(const ElementHead& head, ElementCopy* copy) {
    if (head.is_endless()) {
        pass_items(head, copy);
    } else {
        pass_bytes(head.length, copy);
    }
}

void ElementReader::pass_bytes(std::uint32_t count, ElementCopy* copy) {
    const bool is_there = copy == nullptr ? bytes.skip(count) : bytes.read(copy->grow(count)) == count;
    if (!is_there) refuse_truncated_dicom();
    position += count;
}

void ElementReader::copy_item(const ElementHead& sequence, unsigned wanted, ElementCopy& copy) {
    const std::uint64_t end = position + sequence.length;
    for (unsigned index = 0; sequence.is_endless() || position < end; ++index) {
        const auto item = next();
        if (!item) refuse_truncated_dicom();
        if (item->group == ElementHead::kDelimiterGroup && item->number == kSequenceEnd) break;
        if (index == wanted) copy.add(item->as_written());
        pass_value(*item, index == wanted ? &copy : nullptr);
    }
    constexpr std::array<std::uint8_t, 8> kLittleEndianEnd{0xFE, 0xFF, 0xDD, 0xE0};
    constexpr std::array<std::uint8_t, 8> kBigEndianEnd{0xFF, 0xFE, 0xE0, 0xDD};
    copy.add(encoding.is_big_endian ? kBigEndianEnd : kLittleEndianEnd);
}

// Each sequence or item of undefined length is a level. Those of defined length are passed as bytes.
void ElementReader::pass_items(const ElementHead& sequence, ElementCopy* copy) {
    constexpr std::size_t kMostLevels = 1000;
    // Inside a value of the type UN, elements do not name their types, whatever the data set around it does.
    const auto names_types_in = [](const ElementHead& head, bool outside) { return outside && !head.has_type("UN"); };
    std::vector<bool> levels{names_types_in(sequence, encoding.names_types)};
    while (!levels.empty()) {
        const auto head = next_head(levels.back());
        if (!head) refuse_truncated_dicom();
        if (copy != nullptr) copy->add(head->as_written());
        const bool is_delimiter = head->group == ElementHead::kDelimiterGroup;
        if (is_delimiter && (head->number == kItemEnd || head->number == kSequenceEnd)) {
            levels.pop_back();
        } else if (head->is_endless()) {
            if (levels.size() == kMostLevels) throw Refusal("holds sequences that are nested too deeply");
            levels.push_back(names_types_in(*head, levels.back()));
        } else {
            pass_bytes(head->length, copy);
        }
    }
}

}  // namespace Norvane::Host
