// SPDX-License-Identifier: Apache-2.0
/// Preparation of an acquired mammogram: grey levels over the full range, and the working pixel size.
#include <norvane/norvane.h>

#include "imaging/filter.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/scratch.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace Norvane {
namespace {

constexpr std::size_t kGreyLevels = 65536;
constexpr std::uint16_t kSignBit = 0x8000;
constexpr std::uint16_t kFloorOfFixedMid = Masking::P_BACKGROUND;  // BG_FIXED_MID knows no darker background

bool can_be_prepared(const Image* image) {
    return image != nullptr && image->GetBuffer() != nullptr && image->GetBits() == 16 &&
           image->GetPixelSize() > 0.0F && image->GetPixelSize() <= Masking::c_lowres_pixelsize;
}

/// A scratch image of the same geometry whose samples, padding columns included, are read as signed: 32768 is added.
Image* shifted_copy(const Image& source, GarbageList& garbage) {
    Image* copy = make_scratch<Image>(garbage, &source, true);
    for (unsigned y = 0; y < source.GetHeight(); ++y) {
        const auto from = whole_row_of<const std::uint16_t>(source, y);
        const auto to = whole_row_of<std::uint16_t>(*copy, y);
        std::transform(from.begin(), from.begin() + static_cast<std::ptrdiff_t>(std::min(from.size(), to.size())),
                       to.begin(), [](std::uint16_t v) { return static_cast<std::uint16_t>(v ^ kSignBit); });
    }
    return copy;
}

/// A scratch image with the bytes of `source`, which may be of any depth and without a buffer: a host's resampler can
/// return what it likes.
Image* owned_copy(const Image& source, GarbageList& garbage) {
    Image* copy = make_scratch<Image>(garbage, &source, true);
    if (source.GetBuffer() != nullptr)
        std::memcpy(copy->GetBuffer(), source.GetBuffer(), std::min(copy->BufferSize(), source.BufferSize()));
    return copy;
}

std::unique_ptr<Image> resampled(const Image& image, float& scale) {
    scale = static_cast<float>(static_cast<double>(image.GetPixelSize()) /
                               static_cast<double>(Masking::c_lowres_pixelsize));
    const auto factor = static_cast<double>(scale);
    const auto scaled = [factor](unsigned length) { return truncate_to<unsigned>(length * factor + 0.5); };
    auto result = std::make_unique<Image>(image.GetFormat(), image.GetBits(), scaled(image.GetWidth()),
                                          scaled(image.GetHeight()), true);
    result->MatchSecondaryTo(&image);
    Filter::Resample(&image, result.get(), scale, truncate_to<unsigned>(1.0 / factor + 0.5));
    return result;
}

/// Maps grey levels of `used_bits` to 16 bits, inverted or not, in 32-bit arithmetic. More than 16 used bits map to 0.
std::vector<int> grey_table(unsigned used_bits, bool inverted) {
    const std::uint32_t factor = used_bits <= 16 ? std::uint32_t{1} << (16 - used_bits) : 0;
    std::vector<int> table(kGreyLevels);
    for (std::uint32_t i = 0; i < kGreyLevels; ++i)
        table[i] = static_cast<int>(factor * (inverted ? static_cast<std::uint32_t>(kGreyLevels - 1) - i : i));
    return table;
}

/// The host's grey values, which go the way of the pixels.
class PaddingValues {
public:
    PaddingValues(unsigned short* value, unsigned short* range_limit) : values{value, range_limit} {}

    void look_up(const std::vector<int>& table) const {
        for (unsigned short* v : values)
            if (v != nullptr) *v = static_cast<unsigned short>(table[*v]);
    }
    void multiply(int factor) const {
        for (unsigned short* v : values)
            if (v != nullptr) *v = static_cast<unsigned short>(*v * static_cast<unsigned>(factor));
    }

private:
    unsigned short* values[2];
};

/// Multiplies by the whole number that brings the largest grey level closest to white.
void normalise(Image& image, const PaddingValues& padding) {
    constexpr double kWhite = 65535.0;
    double largest = 0.0;
    Filter::Norm(&image, &largest);
    if (!(largest > 0.0)) return;
    const int factor = truncate_to<int>(kWhite / largest);
    if (factor <= 1) return;
    Filter::MultiplyS(&image, factor);
    padding.multiply(factor);
}

void raise_to(std::uint16_t floor, Image& image) {
    if (image.GetBuffer() == nullptr) return;
    auto* first = reinterpret_cast<std::uint16_t*>(image.GetBuffer());
    std::transform(first, first + image.BufferSize() / 2, first,
                   [floor](std::uint16_t v) { return std::max(v, floor); });
}

}  // namespace

Image* PrepareImage(Image* image, float& scale, BG_NOISE bgNoise, bool resampleFirst,
                    Image* (*resampler)(Image*, float&), unsigned short* paddingValue,
                    unsigned short* paddingRangeLimit) {
    if (!can_be_prepared(image)) return nullptr;
    GarbageList garbage;
    Image* current = image;
    std::unique_ptr<Image> result;

    // Samples that use all 16 bits are signed.
    if (image->GetUsedBits() == 16 && resampler == nullptr) current = shifted_copy(*image, garbage);
    if (resampleFirst) {
        result = resampler != nullptr ? std::unique_ptr<Image>(resampler(current, scale)) : resampled(*current, scale);
        if (result == nullptr) return nullptr;
        current = result.get();
    }
    if (!current->GetIsBufferOwner())  // somebody else's pixels stay as they are
        current = owned_copy(*current, garbage);

    const PaddingValues padding(paddingValue, paddingRangeLimit);
    std::vector<int> table = grey_table(current->GetUsedBits(), current->GetNeedsInversion());
    Filter::ContrastStretch(current, 0, 1, table.data(), static_cast<int>(kGreyLevels));
    padding.look_up(table);
    normalise(*current, padding);

    if (!resampleFirst) result = resampled(*current, scale);
    if (bgNoise == BG_FIXED_MID) raise_to(kFloorOfFixedMid, *result);
    return result.release();
}

}  // namespace Norvane
