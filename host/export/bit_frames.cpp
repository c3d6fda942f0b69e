// SPDX-License-Identifier: Apache-2.0
#include "export/bit_frames.h"

#include <algorithm>

namespace Norvane::Host {
namespace {

constexpr std::size_t kByteBits = 8;

}  // namespace

BitFrames::BitFrames(unsigned columns, unsigned rows, unsigned count)
    : width(columns), height(rows), packed((width * height * count + 2 * kByteBits - 1) / (2 * kByteBits) * 2) {}

void BitFrames::paint(unsigned frame, const SourceMask& mask, bool is_on) {
    for (unsigned y = 0; y < height; ++y) {
        const std::size_t row_start = (frame * height + y) * width;
        for (const ColumnRun& run : mask.row(y)) fill(row_start + run.first, row_start + run.last + 1, is_on);
    }
}

// Sets the bits first .. end - 1. Whole bytes are written at once.
void BitFrames::fill(std::size_t first, std::size_t end, bool is_on) {
    const auto put = [this, is_on](std::size_t bit) {
        const unsigned place = 1U << (bit % kByteBits);
        std::uint8_t& byte = packed[bit / kByteBits];
        byte = static_cast<std::uint8_t>(is_on ? byte | place : byte & ~place);
    };
    while (first < end && first % kByteBits != 0) put(first++);
    const std::size_t whole = (end - first) / kByteBits;
    std::fill_n(packed.begin() + static_cast<std::ptrdiff_t>(first / kByteBits), whole,
                static_cast<std::uint8_t>(is_on ? 0xFF : 0));
    for (first += whole * kByteBits; first < end; ++first) put(first);
}

BitFrames label_frames(const Findings& findings, bool has_muscle) {
    const LabelImage labels(findings);
    BitFrames frames(labels.width(), labels.height(), has_muscle ? 2 : 1);
    frames.paint(0, labels.breast(), true);
    if (!has_muscle) return frames;
    frames.paint(0, labels.muscle(), false);
    frames.paint(1, labels.muscle(), true);
    return frames;
}

}  // namespace Norvane::Host
