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

std::unique_ptr<Image> make_host_image(const SourceImage& source, double pixel_size_um) {
    auto image = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, source.width, source.height, true);
    image->SetUsedBits(source.used_bits);
    image->SetPixelSize(static_cast<float>(pixel_size_um));
    image->SetNeedsInversion(source.needs_inversion);
    const unsigned flip = source.used_bits == kAllBits ? kSignBit : 0;
    auto* words = reinterpret_cast<std::uint16_t*>(image->GetBuffer());
    for (std::size_t y = 0; y < source.height; ++y) {
        const std::span row(words + y * image->GetStride(), image->GetStride());
        const std::span samples(&source.samples[y * source.width], source.width);
        std::ranges::transform(samples, row.begin(),
                               [flip](unsigned v) { return static_cast<std::uint16_t>(v ^ flip); });
        std::ranges::fill(row.subspan(source.width), row[source.width - 1]);
    }
    return image;
}

PreparedImage prepare_source(const SourceImage& source, double pixel_size_um, BG_NOISE noise) {
    const std::unique_ptr<Image> image = make_host_image(source, pixel_size_um);
    // The shift of images with 16 used bits leaves padding values alone: they go in as they will be after it, which is
    // how the source has them.
    const PaddingRange range = source.padding.value_or(PaddingRange{0, 0});
    unsigned short one_end = range.low;
    unsigned short other_end = range.high;
    PreparedImage prepared;
    prepared.image.reset(PrepareImage(image.get(), prepared.scale, noise, true, nullptr, &one_end, &other_end));
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

}  // namespace Norvane::Host
