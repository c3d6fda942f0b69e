// SPDX-License-Identifier: Apache-2.0
/// Fuzzes PrepareImage() with all kinds of images. The loops with and without wide registers must give the same
/// results.
#include "hostile_image.h"

#include "support/builders.h"

namespace Norvane::Fuzz {
namespace {

/// A poor resampler of a host, which returns several kinds of images.
Image* halve(Image* image, float& scale) {
    scale = 0.5F;
    if (image->GetWidth() % 5 == 1) return nullptr;
    auto* half = new Image(FORMAT_UNSIGNED, image->GetWidth() % 5 == 2 ? 8U : 16U, image->GetWidth() / 2,
                           image->GetHeight() / 2, image->GetWidth() % 5 != 3);
    half->SetPixelSize(228.0F);
    half->SetUsedBits(image->GetUsedBits());
    return half;
}

struct Prepared {
    bool is_there = false;
    float scale = -7.0F;
    unsigned short padding[2] = {};
    std::vector<std::uint16_t> pixels;
    std::vector<unsigned> geometry;
    bool operator==(const Prepared&) const = default;
};

Prepared prepare(std::span<const std::uint8_t> bytes) {
    Input input(bytes.data(), bytes.size());
    const auto noise = input.enumerator<BG_NOISE>();
    const unsigned flags = input.byte();
    Prepared out;
    out.padding[0] = input.word();
    out.padding[1] = input.word();
    const HostileImage hostile(input);
    const std::unique_ptr<Image> image(
        PrepareImage((flags & 128U) != 0 ? nullptr : hostile.get(), out.scale, noise, (flags & 1U) != 0,
                     (flags & 6U) == 6U ? &halve : nullptr, (flags & 8U) != 0 ? out.padding : nullptr,
                     (flags & 16U) != 0 ? out.padding + ((flags & 32U) != 0 ? 1 : 0) : nullptr));
    if (std::isnan(out.scale)) out.scale = -8.0F;
    if (image == nullptr) return out;
    out.is_there = true;
    out.geometry = {image->GetWidth(), image->GetHeight(), image->GetStride(), image->GetBits(), image->GetOffX()};
    if (image->GetBuffer() != nullptr && image->GetBits() == 16) out.pixels = Tests::pixels_of(*image);
    return out;
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Norvane::Fuzz::run_both_forms({data, size}, Norvane::Fuzz::prepare);
    return 0;
}
