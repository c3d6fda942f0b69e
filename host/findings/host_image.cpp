// SPDX-License-Identifier: Apache-2.0
#include "findings/host_image.h"

#include "io/refusal.h"

#include <fmt/core.h>
#include <norvane/norvane.h>

#include <algorithm>
#include <span>
#include <string>

namespace Norvane::Host {
namespace {

constexpr unsigned kAllBits = 16;
constexpr unsigned kSignBit = 0x8000;
constexpr unsigned kSmallestSide = 32;  // pixels of the working grid, 7 mm: no breast is smaller

void describe(const GreySamples& samples, Image& image) {
    image.SetUsedBits(samples.used_bits);
    image.SetPixelSize(static_cast<float>(samples.pixel_size_um));
    image.SetNeedsInversion(samples.needs_inversion);
}

}  // namespace

GreySamples samples_of(const SourceImage& source, const SourceBox& box, double pixel_size_um) {
    return {&source.samples[std::size_t{box.y} * source.width + box.x],
            source.width,
            box.width,
            box.height,
            source.used_bits,
            source.needs_inversion,
            pixel_size_um};
}

std::unique_ptr<Image> make_host_image(const GreySamples& samples) {
    auto image = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, samples.width, samples.height, true);
    describe(samples, *image);
    const unsigned flip = samples.used_bits == kAllBits ? kSignBit : 0;
    auto* words = reinterpret_cast<std::uint16_t*>(image->GetBuffer());
    for (std::size_t y = 0; y < samples.height; ++y) {
        const std::span row(words + y * image->GetStride(), image->GetStride());
        const std::span from(samples.first + y * samples.row_stride, samples.width);
        std::ranges::transform(from, row.begin(), [flip](unsigned v) { return static_cast<std::uint16_t>(v ^ flip); });
        std::ranges::fill(row.subspan(samples.width), row[samples.width - 1]);
    }
    return image;
}

std::unique_ptr<Image> host_image_over(const GreySamples& samples) {
    const bool has_library_rows = samples.row_stride == samples.width && samples.width % 2 == 0;
    if (!has_library_rows || samples.used_bits == kAllBits) return make_host_image(samples);
    // Image has no constructor for a constant buffer.
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<std::uint16_t*>(samples.first));
    auto image = std::make_unique<Image>(bytes, FORMAT_UNSIGNED, 16, samples.width, samples.height,
                                         static_cast<float>(samples.pixel_size_um), true);
    describe(samples, *image);
    return image;
}

PreparedImage prepare_samples(const GreySamples& samples, const std::optional<PaddingRange>& padding, BG_NOISE noise,
                              bool resample_first) {
    const std::unique_ptr<Image> image = host_image_over(samples);
    // Preparation shifts images with 16 used bits but not their padding values. So the padding values are passed as
    // they are after the shift, and that is how the source gives them.
    const PaddingRange range = padding.value_or(PaddingRange{0, 0});
    unsigned short one_end = range.low;
    unsigned short other_end = range.high;
    PreparedImage prepared;
    prepared.image.reset(
        PrepareImage(image.get(), prepared.scale, noise, resample_first, nullptr, &one_end, &other_end));
    // If the image is inverted, the ends are swapped.
    prepared.padding_low = std::min(one_end, other_end);
    prepared.padding_high = std::max(one_end, other_end);
    return prepared;
}

PreparedImage prepare_source(const SourceImage& source, const SourceBox& box, double pixel_size_um) {
    PreparedImage prepared =
        prepare_samples(samples_of(source, box, pixel_size_um),
                        source.padding ? std::optional(source.padding->value) : std::nullopt, BG_AUTO, true);
    const Image* result = prepared.image.get();
    if (result == nullptr || result->GetBuffer() == nullptr) throw Refusal("cannot be prepared");
    if (std::min(result->GetWidth(), result->GetHeight()) < kSmallestSide) {
        throw Refusal(fmt::format("is too small for a mammogram ({} x {} pixels of 228 micrometres)",
                                  result->GetWidth(), result->GetHeight()));
    }
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
