// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_fragments.h"

#include "io/dicom/dicom_elements.h"
#include "io/little_endian.h"
#include "io/refusal.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace Norvane::Host {
namespace {

constexpr std::size_t kMostFragments = std::size_t{1} << 21;  // 32 MiB of them in memory
constexpr std::uint32_t kItem = 0xFFFEE000;
constexpr std::uint32_t kEnd = 0xFFFEE0DD;

bool begins_image(std::span<const std::uint8_t> bytes) {
    constexpr std::array<std::uint8_t, 3> kJpeg{0xFF, 0xD8, 0xFF};
    constexpr std::array<std::uint8_t, 3> kJpeg2000{0xFF, 0x4F, 0xFF};
    return std::ranges::equal(bytes, kJpeg) || std::ranges::equal(bytes, kJpeg2000);
}

}  // namespace

FrameFragments::FrameFragments(FileBytes& file, unsigned frame, unsigned frame_count) {
    read_table(file);
    if (fragments.empty()) throw Refusal("has no compressed pixel data, although its transfer syntax promises it");
    Starts starts{0};
    if (frame_count == fragments.size()) {
        starts.resize(frame_count);
        std::iota(starts.begin(), starts.end(), std::size_t{0});
    } else if (frame_count > 1) {
        starts = starts_by_table(file, frame_count);
        // Without a table, a frame begins at each fragment that starts with the first bytes of JPEG or JPEG 2000 data.
        if (starts.size() != frame_count) starts = starts_by_first_bytes();
    }
    if (starts.size() != frame_count) throw Refusal("does not say where its frames begin");
    starts.push_back(fragments.size());
    first = starts[frame - 1];
    end = starts[frame];
}

// Every fragment is visited once, so that a million of them take a second and not a day.
void FrameFragments::read_table(FileBytes& file) {
    constexpr ElementEncoding kEncoding{true, false};
    ElementReader elements(file, kEncoding);
    bool is_table_read = false;
    while (const auto head = elements.next()) {
        if (head->tag() == kEnd) return;
        if (head->tag() != kItem || head->is_endless()) throw Refusal("has damaged fragments of pixel data");
        const std::uint64_t offset = file.position();
        const auto start = file.peek(std::min<std::size_t>(3, head->length));
        const Fragment fragment{offset, head->length, begins_image(start)};
        elements.skip_value(*head);
        if (!is_table_read) {
            table = fragment;
            is_table_read = true;
        } else if (fragments.size() < kMostFragments) {
            fragments.push_back(fragment);
        } else {
            throw Refusal(fmt::format("has more than {} fragments of pixel data", kMostFragments));
        }
    }
    refuse_truncated_dicom();  // the closing delimiter is missing
}

std::uint64_t FrameFragments::size() const {
    std::uint64_t bytes = 0;
    for (std::size_t i = first; i < end; ++i) bytes += fragments[i].length;
    return bytes;
}

std::vector<std::uint8_t> FrameFragments::joined(FileBytes& file) const {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size()));
    std::span<std::uint8_t> rest = bytes;
    for (std::size_t i = first; i < end; ++i) {
        file.seek(fragments[i].offset);
        if (file.read(rest.first(fragments[i].length)) < fragments[i].length) refuse_truncated_dicom();
        rest = rest.subspan(fragments[i].length);
    }
    return bytes;
}

// Offsets in the table count from the first fragment and include the eight bytes before each fragment.
FrameFragments::Starts FrameFragments::starts_by_table(FileBytes& file, unsigned frame_count) const {
    constexpr std::uint64_t kItemHead = 8;
    constexpr std::size_t kEntry = 4;
    if (table.length / kEntry != frame_count || frame_count > fragments.size()) return {};
    std::vector<std::uint8_t> entries(table.length);
    file.seek(table.offset);
    if (file.read(entries) < entries.size()) refuse_truncated_dicom();
    Starts starts;
    std::uint64_t position = 0;
    std::size_t at = 0;
    for (std::size_t frame = 0; frame < frame_count; ++frame) {
        const std::uint64_t offset = little_endian_32(entries, kEntry * frame);
        for (; position < offset && at < fragments.size(); ++at) position += kItemHead + fragments[at].length;
        const bool is_after = starts.empty() || at > starts.back();  // no frame is without fragments
        if (position != offset || at == fragments.size() || !is_after) return {};
        starts.push_back(at);
    }
    return starts;
}

FrameFragments::Starts FrameFragments::starts_by_first_bytes() const {
    Starts starts;
    for (std::size_t i = 0; i < fragments.size(); ++i) {
        if (fragments[i].begins_image) starts.push_back(i);
    }
    return starts;
}

}  // namespace Norvane::Host
