// SPDX-License-Identifier: Apache-2.0
#include "export/nifti.h"

#include "export/label_map.h"
#include "export/program_version.h"
#include "export/source_masks.h"
#include "io/refusal.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <string_view>

namespace Norvane::Host {
namespace {

/// The header of a little endian NIfTI-1 file whose data follow in the same file (R. W. Cox and others, 2004).
class NiftiHeader {
public:
    void put(std::size_t at, std::int16_t value) { put_bits(at, static_cast<std::uint16_t>(value), 2); }
    void put(std::size_t at, std::int32_t value) { put_bits(at, static_cast<std::uint32_t>(value), 4); }
    void put(std::size_t at, float value) { put_bits(at, std::bit_cast<std::uint32_t>(value), 4); }
    void put(std::size_t at, std::string_view text) { std::ranges::copy(text, bytes.begin() + static_cast<int>(at)); }

    static constexpr std::size_t kSize = 348;
    static constexpr std::size_t kDataAt = 352;  // after four bytes that say that there is no extension
    std::array<std::uint8_t, kDataAt> bytes{};

private:
    void put_bits(std::size_t at, std::uint32_t bits, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) bytes[at + i] = static_cast<std::uint8_t>(bits >> (8 * i));
    }
};

NiftiHeader header_of(const LabelImage& labels, double pixel_size_um) {
    constexpr std::int16_t kUnsignedBytes = 2, kBits = 8, kOne = 1, kTwoAxes = 2;
    const auto millimetres = static_cast<float>(pixel_size_um / 1000.0);
    NiftiHeader header;
    header.put(0, std::int32_t{NiftiHeader::kSize});
    header.put(40, kTwoAxes);  // the number of axes, then their lengths
    header.put(42, static_cast<std::int16_t>(labels.width()));
    header.put(44, static_cast<std::int16_t>(labels.height()));
    for (std::size_t axis = 3; axis <= 7; ++axis) header.put(40 + 2 * axis, kOne);
    header.put(70, kUnsignedBytes);
    header.put(72, kBits);
    header.put(76, 1.0F);
    header.put(80, millimetres);
    header.put(84, millimetres);
    header.put(88, 1.0F);
    header.put(108, static_cast<float>(NiftiHeader::kDataAt));
    header.put(112, 1.0F);  // the slope of the values
    header.bytes[123] = 2;  // millimetres
    header.put(148, std::string("norvane ") + program_version());
    header.put(344, "n+1");
    return header;
}

}  // namespace

std::string label_nifti(const Findings& findings) {
    const LabelImage labels(findings);
    constexpr unsigned kMost = std::numeric_limits<std::int16_t>::max();
    if (std::max(labels.width(), labels.height()) > kMost) {
        throw Refusal("has more than 32767 columns or rows, which the result nifti cannot hold");
    }
    NiftiHeader header = header_of(labels, findings.settings.pixel_size_um.value);
    std::string bytes;
    append_compressed(bytes, header.bytes, labels);
    return bytes;
}

}  // namespace Norvane::Host
