// SPDX-License-Identifier: Apache-2.0
#include "analysis/host_image.h"

#include "reading/refusal.h"

#include <norvane/norvane.h>

#include <algorithm>
#include <span>
#include <string>

namespace Norvane::Host {
namespace {

constexpr unsigned kAllBits = 16;
constexpr unsigned kSignBit = 0x8000;
constexpr unsigned kSmallestSide = 32;  // pixels of the working grid, 7 mm: no breast is smaller

}  // namespace

std::unique_ptr<Image> make_host_image(const SourceImage& source, const SourceBox& box, double pixel_size_um) {
    auto image = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, box.width, box.height, true);
    image->SetUsedBits(source.used_bits);
    image->SetPixelSize(static_cast<float>(pixel_size_um));
    image->SetNeedsInversion(source.needs_inversion);
    const unsigned flip = source.used_bits == kAllBits ? kSignBit : 0;
    auto* words = reinterpret_cast<std::uint16_t*>(image->GetBuffer());
    for (std::size_t y = 0; y < box.height; ++y) {
        const std::span row(words + y * image->GetStride(), image->GetStride());
        const std::span samples(&source.samples[(box.y + y) * source.width + box.x], box.width);
        std::ranges::transform(samples, row.begin(),
                               [flip](unsigned v) { return static_cast<std::uint16_t>(v ^ flip); });
        std::ranges::fill(row.subspan(box.width), row[box.width - 1]);
    }
    return image;
}

PreparedImage prepare_source(const SourceImage& source, const SourceBox& box, double pixel_size_um) {
    const std::unique_ptr<Image> image = make_host_image(source, box, pixel_size_um);
    // The shift of images with 16 used bits leaves padding values alone: they go in as they will be after it, which is
    // how the source has them.
    const PaddingRange range = source.padding.value_or(PaddingRange{0, 0});
    unsigned short one_end = range.low;
    unsigned short other_end = range.high;
    PreparedImage prepared;
    prepared.image.reset(PrepareImage(image.get(), prepared.scale, BG_AUTO, true, nullptr, &one_end, &other_end));
    const Image* result = prepared.image.get();
    if (result == nullptr || result->GetBuffer() == nullptr) throw Refusal("cannot be prepared");
    if (std::min(result->GetWidth(), result->GetHeight()) < kSmallestSide) {
        throw Refusal("is too small for a mammogram (" + std::to_string(result->GetWidth()) + " x " +
                      std::to_string(result->GetHeight()) + " pixels of 228 micrometres)");
    }
    // Inversion swaps the ends.
    prepared.padding_low = std::min(one_end, other_end);
    prepared.padding_high = std::max(one_end, other_end);
    return prepared;
}

PreparedImage prepared_for(const PreparedImage& prepared, BG_NOISE noise) {
    PreparedImage other{std::make_unique<Image>(prepared.image.get(), true), prepared.scale, prepared.padding_high,
                        prepared.padding_low};
    const auto* from = reinterpret_cast<const std::uint16_t*>(prepared.image->GetBuffer());
    auto* to = reinterpret_cast<std::uint16_t*>(other.image->GetBuffer());
    const auto floor = static_cast<std::uint16_t>(noise == BG_FIXED_MID ? Masking::P_BACKGROUND : 0);
    std::transform(from, from + other.image->BufferSize() / sizeof *from, to,
                   [floor](std::uint16_t v) { return std::max(v, floor); });
    return other;
}

}  // namespace Norvane::Host
