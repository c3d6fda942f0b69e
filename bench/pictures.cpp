// SPDX-License-Identifier: Apache-2.0
#include "pictures.h"

#include "model/pixels.h"
#include "phantom/phantom.h"

#include <cstring>
#include <map>
#include <tuple>

namespace Norvane::Bench {
namespace {

const Host::Phantom& phantom_of(const Acquisition& kind) {
    static std::map<std::tuple<unsigned, unsigned, unsigned, int, int>, Host::Phantom> drawn;
    const std::tuple key{kind.width, kind.height, kind.used_bits, static_cast<int>(kind.side),
                         static_cast<int>(kind.view)};
    const auto at = drawn.find(key);
    if (at != drawn.end()) return at->second;
    Host::PhantomSettings plan;
    plan.width = kind.width;
    plan.height = kind.height;
    plan.pixel_size_um = static_cast<double>(kind.pixel_size);
    plan.side = kind.side;
    plan.view = kind.view;
    plan.used_bits = kind.used_bits;
    return drawn.emplace(key, Host::draw_phantom(plan)).first->second;
}

}  // namespace

std::unique_ptr<Image> acquired(const Acquisition& kind) {
    const Host::Phantom& phantom = phantom_of(kind);
    auto image = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, kind.width, kind.height, true);
    for (unsigned y = 0; y < kind.height; ++y)
        std::memcpy(grey_row_to_write(*image, y).data(), &phantom.pixels[std::size_t{y} * kind.width], kind.width * 2);
    image->SetPixelSize(kind.pixel_size);
    image->SetUsedBits(kind.used_bits);
    return image;
}

std::unique_ptr<Image> prepared(const Acquisition& kind, BG_NOISE noise) {
    const auto image = acquired(kind);
    float scale = 0.0F;
    return std::unique_ptr<Image>(PrepareImage(image.get(), scale, noise, false, nullptr, nullptr, nullptr));
}

std::unique_ptr<Image> resized(const Image& image, unsigned width, unsigned height) {
    auto result = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, width, height, true);
    result->SetPixelSize(image.GetPixelSize());
    for (unsigned y = 0; y < height; ++y) {
        const auto from = grey_row(image, y * image.GetHeight() / height);
        const auto to = grey_row_to_write(*result, y);
        for (unsigned x = 0; x < width; ++x) to[x] = from[x * image.GetWidth() / width];
    }
    return result;
}

Masking::Params params_for(const Acquisition& kind, BG_NOISE noise) {
    Masking::Params params;
    params.side = kind.side;
    params.view = kind.view;
    params.bgNoise = noise;
    params.fullContour = true;
    return params;
}

cv::Mat matrix_over(const Image& image) {
    return {static_cast<int>(image.GetHeight()), static_cast<int>(image.GetWidth()), CV_16U, image.GetBuffer(),
            std::size_t{image.GetStride()} * 2};
}

}  // namespace Norvane::Bench
