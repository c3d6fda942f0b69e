// SPDX-License-Identifier: Apache-2.0
#include "preparation/prepare_image.h"

#include <norvane/masking.h>

#include "imaging/filter.h"
#include "imaging/ipl_bridge.h"
#include "model/grey_statistics.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/scratch.h"
#include "model/wide_vectors.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

namespace Norvane {
namespace {

constexpr unsigned kAllBits = 16;
constexpr std::uint16_t kSignBit = 0x8000;

bool can_be_prepared(const Image* image) {
    return image != nullptr && image->GetBuffer() != nullptr && image->GetBits() == 16 &&
           image->GetPixelSize() > 0.0F && image->GetPixelSize() <= Masking::c_lowres_pixelsize;
}

/// A scratch image of the same geometry. Its samples, including padding columns, are read as signed: 32768 is added.
Image* shifted_copy(const Image& source, GarbageList& garbage) {
    Image* copy = make_scratch<Image>(garbage, &source, true);
    for (unsigned y = 0; y < source.GetHeight(); ++y) {
        const auto from = whole_row_of<std::uint16_t>(source, y);
        const auto to = whole_row_of<std::uint16_t>(*copy, y);
        std::ranges::transform(from.first(std::min(from.size(), to.size())), to.begin(),
                               [](std::uint16_t v) { return static_cast<std::uint16_t>(v ^ kSignBit); });
    }
    return copy;
}

/// A scratch image with the bytes of `source`. This may have any depth and no buffer, because a host's resampler can
/// return any image.
Image* owned_copy(const Image& source, GarbageList& garbage) {
    Image* copy = make_scratch<Image>(garbage, &source, true);
    if (source.GetBuffer() != nullptr)
        std::memcpy(copy->GetBuffer(), source.GetBuffer(), std::min(copy->BufferSize(), source.BufferSize()));
    return copy;
}

/// Maps a 16-bit grey value v to (v ^ flip) * factor, modulo 65536. All steps of the preparation have this form: the
/// shift of signed samples flips the top bit, and inversion flips all bits. Two products modulo 65536 make one, whose
/// factor is the product of both.
struct GreyMap {
    std::uint16_t flip = 0;
    std::uint16_t factor = 1;

    [[nodiscard]] std::uint16_t operator()(unsigned v) const { return static_cast<std::uint16_t>((v ^ flip) * factor); }
    void map(std::span<const std::uint16_t> from, std::span<std::uint16_t> to) const {
        run_wide([*this, from, to] {
            for (std::size_t x = 0; x < to.size(); ++x) to[x] = operator()(from[x]);
        });
    }
    /// The largest value to which a pixel of the image is mapped, including padding columns.
    [[nodiscard]] std::uint16_t largest_of(const Image& image) const {
        std::uint16_t largest = 0;
        for (unsigned y = 0; y < image.GetHeight(); ++y)
            run_wide([*this, &largest, row = whole_row_of<std::uint16_t>(image, y)] {
                std::uint16_t found = largest;
                for (const std::uint16_t v : row) found = std::max(found, operator()(v));
                largest = found;
            });
        return largest;
    }
    /// This map with its values multiplied by `k`.
    [[nodiscard]] GreyMap times(int k) const { return {flip, static_cast<std::uint16_t>(factor * k)}; }
};

/// The map from `used_bits` to 16 bits, inverted or not, after the bits `flip` are flipped. If there are more than 16
/// used bits, everything is mapped to 0.
GreyMap levels_map(unsigned used_bits, bool inverted, std::uint16_t flip) {
    const unsigned factor = used_bits <= kAllBits ? 1U << (kAllBits - used_bits) : 0U;
    return {static_cast<std::uint16_t>(inverted ? flip ^ (kGreyLevels - 1) : flip), static_cast<std::uint16_t>(factor)};
}

/// An image with the working pixel size. If `read_as` is set, each source row is mapped through it first.
std::unique_ptr<Image> resampled(const Image& image, float& scale, const GreyMap* read_as = nullptr) {
    scale = static_cast<float>(double{image.GetPixelSize()} / double{Masking::c_lowres_pixelsize});
    const auto factor = double{scale};
    const auto scaled = [factor](unsigned length) { return truncate_to<unsigned>(length * factor + 0.5); };
    auto result = std::make_unique<Image>(image.GetFormat(), image.GetBits(), scaled(image.GetWidth()),
                                          scaled(image.GetHeight()), true);
    result->MatchSecondaryTo(&image);
    const auto mask_size = truncate_to<unsigned>(1.0 / factor + 0.5);
    if (read_as != nullptr)
        Utils::expect_memory(Filter::Resample(&image, result.get(), scale, mask_size,
                                              [read_as](auto from, auto to) { read_as->map(from, to); }));
    else
        Utils::expect_memory(Filter::Resample(&image, result.get(), scale, mask_size));
    return result;
}

/// The integer factor that brings the largest grey level closest to white; 1 if there is none.
int whitening_factor(double largest) {
    constexpr double kWhite = 65535.0;
    return largest > 0.0 ? std::max(truncate_to<int>(kWhite / largest), 1) : 1;
}

/// The host's grey values. They are mapped like the pixels.
class PaddingValues {
public:
    PaddingValues(unsigned short* value, unsigned short* range_limit) : values{value, range_limit} {}

    /// If the host passes the same variable twice, each step is applied to it twice.
    void look_up(const GreyMap& levels, int whitening) const {
        for (const GreyMap& step : {levels, GreyMap{}.times(whitening)})
            for (unsigned short* v : values)
                if (v != nullptr) *v = step(*v);
    }

private:
    unsigned short* values[2];
};

/// Whether the operations on unsigned 16-bit images accept the image, and a copy of it has the same rows. An image with
/// more padding columns than needed does not.
bool is_plain(const Image& image) {
    return image.GetBits() == 16 && image.GetFormat() == FORMAT_UNSIGNED && image.GetBuffer() != nullptr &&
           image.GetStride() == Image(&image, false).GetStride();
}

/// Makes two passes over the source: one finds its largest grey level, and one resamples it. If the source must not be
/// changed in place, it is read through a map, row by row.
std::unique_ptr<Image> prepare_by_rows(Image& image, float& scale, bool resample_first, const PaddingValues& padding) {
    // Samples that use all 16 bits are signed.
    const GreyMap shift{image.GetUsedBits() == kAllBits ? kSignBit : std::uint16_t{0}, 1};
    std::unique_ptr<Image> result;
    if (resample_first) result = resampled(image, scale, shift.flip != 0 ? &shift : nullptr);
    Image& grey = resample_first ? *result : image;

    const GreyMap levels = levels_map(grey.GetUsedBits(), grey.GetNeedsInversion(), resample_first ? 0 : shift.flip);
    const int factor = whitening_factor(levels.largest_of(grey));
    const GreyMap map = levels.times(factor);
    padding.look_up(levels_map(grey.GetUsedBits(), grey.GetNeedsInversion(), 0), factor);
    if (!resample_first && (shift.flip != 0 || !image.GetIsBufferOwner())) return resampled(image, scale, &map);

    for (unsigned y = 0; y < grey.GetHeight(); ++y)
        map.map(whole_row_of<std::uint16_t>(grey, y), whole_row_of<std::uint16_t>(grey, y));
    return resample_first ? std::move(result) : resampled(image, scale);
}

/// Does the same operation by operation on whole images. Each operation decides whether it accepts the image, because a
/// host's resampler can return any kind. Returns null if the resampler returns none.
std::unique_ptr<Image> prepare_by_operations(Image& image, float& scale, bool resample_first,
                                             Image* (*resampler)(Image*, float&), const PaddingValues& padding) {
    GarbageList garbage;
    Image* current = &image;
    std::unique_ptr<Image> result;
    if (image.GetUsedBits() == kAllBits && resampler == nullptr) current = shifted_copy(image, garbage);
    if (resample_first) {
        result = resampler != nullptr ? std::unique_ptr<Image>(resampler(current, scale)) : resampled(*current, scale);
        if (result == nullptr) return nullptr;
        current = result.get();
    }
    if (!current->GetIsBufferOwner())  // pixels that belong to somebody else must not change
        current = owned_copy(*current, garbage);

    const GreyMap levels = levels_map(current->GetUsedBits(), current->GetNeedsInversion(), 0);
    std::vector<int> table(kGreyLevels);
    for (unsigned i = 0; i < kGreyLevels; ++i) table[i] = levels(i);
    Utils::expect_memory(Filter::ContrastStretch(current, 0, 1, table.data(), kGreyLevels));
    double largest = 0.0;
    Utils::expect_memory(Filter::Norm(current, &largest));
    const int factor = whitening_factor(largest);
    if (factor > 1) Utils::expect_memory(Filter::MultiplyS(current, factor));
    padding.look_up(levels, factor);
    return resample_first ? std::move(result) : resampled(*current, scale);
}

void raise_to(std::uint16_t floor, Image& image) {
    if (image.GetBuffer() == nullptr) return;
    auto* first = reinterpret_cast<std::uint16_t*>(image.GetBuffer());
    std::transform(first, first + image.BufferSize() / 2, first,
                   [floor](std::uint16_t v) { return std::max(v, floor); });
}

}  // namespace

std::unique_ptr<Image> prepared_image(Image* image, float& scale, const Preparation& wanted) {
    if (!can_be_prepared(image)) return nullptr;
    const PaddingValues padding(wanted.padding_value, wanted.padding_range_limit);
    std::unique_ptr<Image> result =
        wanted.resampler == nullptr && is_plain(*image)
            ? prepare_by_rows(*image, scale, wanted.resample_first, padding)
            : prepare_by_operations(*image, scale, wanted.resample_first, wanted.resampler, padding);
    if (result != nullptr && wanted.darkest > 0) raise_to(wanted.darkest, *result);
    return result;
}

}  // namespace Norvane
