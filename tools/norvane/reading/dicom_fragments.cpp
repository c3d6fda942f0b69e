// SPDX-License-Identifier: Apache-2.0
#include "reading/dicom_fragments.h"

#include "reading/little_endian.h"
#include "reading/refusal.h"

#include <dcmtk/dcmdata/dcpxitem.h>

#include <algorithm>
#include <array>

namespace Norvane::Host {

FrameFragments::FrameFragments(DcmPixelData& pixels, unsigned frame, unsigned frame_count) {
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    pixels.getOriginalRepresentationKey(syntax, parameter);
    if (pixels.getEncapsulatedRepresentation(syntax, parameter, sequence).bad() || sequence == nullptr ||
        sequence->card() < 2) {
        throw Refusal("has no compressed pixel data, although its transfer syntax promises it");
    }
    const auto items = static_cast<unsigned>(sequence->card());
    std::vector<unsigned> starts{1};
    if (frame_count == items - 1) {
        first_item = frame;
        end_item = frame + 1;
        return;
    }
    if (frame_count > 1) starts = items_by_offset_table();
    if (starts.size() != frame_count) starts = items_by_first_bytes();
    if (starts.size() != frame_count) throw Refusal("does not say where its frames begin");
    starts.push_back(items);
    first_item = starts[frame - 1];
    end_item = starts[frame];
}

std::span<const std::uint8_t> FrameFragments::joined() const {
    if (end_item == first_item + 1) return start();
    bytes.clear();
    for (unsigned item = first_item; item < end_item; ++item) {
        const auto fragment = bytes_of(item);
        bytes.insert(bytes.end(), fragment.begin(), fragment.end());
    }
    return bytes;
}

std::span<const std::uint8_t> FrameFragments::bytes_of(unsigned item) const {
    DcmPixelItem* fragment = nullptr;
    Uint8* data = nullptr;
    if (sequence->getItem(fragment, item).bad() || fragment->getUint8Array(data).bad() || data == nullptr) return {};
    return {data, fragment->getLength()};
}

// The table counts bytes from the first fragment on, and the eight bytes before each fragment count too.
std::vector<unsigned> FrameFragments::items_by_offset_table() const {
    constexpr std::uint64_t kItemHeader = 8;
    const std::span<const std::uint8_t> table = bytes_of(0);
    std::vector<unsigned> starts;
    std::uint64_t position = 0;
    unsigned item = 1;
    for (std::size_t i = 0; i + 4 <= table.size(); i += 4) {
        const std::uint64_t offset = little_endian_32(table, i);
        for (; position < offset && item < sequence->card(); ++item) position += kItemHeader + bytes_of(item).size();
        if (position != offset || item >= sequence->card()) return {};
        starts.push_back(item);
    }
    return starts;
}

// Without a table, a frame begins where a fragment begins as JPEG or JPEG 2000 data do.
std::vector<unsigned> FrameFragments::items_by_first_bytes() const {
    constexpr std::array<std::uint8_t, 3> kJpeg{0xFF, 0xD8, 0xFF};
    constexpr std::array<std::uint8_t, 3> kJpeg2000{0xFF, 0x4F, 0xFF};
    std::vector<unsigned> starts;
    for (unsigned item = 1; item < sequence->card(); ++item) {
        const std::span<const std::uint8_t> fragment = bytes_of(item);
        if (fragment.size() < 3) continue;
        const auto head = fragment.first(3);
        if (std::ranges::equal(head, kJpeg) || std::ranges::equal(head, kJpeg2000)) starts.push_back(item);
    }
    return starts;
}

}  // namespace Norvane::Host
