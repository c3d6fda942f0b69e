// SPDX-License-Identifier: Apache-2.0
#include "export/grey_picture.h"

#include "findings/grey_rows.h"

#include <algorithm>
#include <cmath>

namespace Norvane::Host {
namespace {

/// The pixels of the picture that one pixel of the reduced picture covers along one axis, from `first` on, and the
/// share that each of them has in it.
struct Cover {
    unsigned first;
    std::vector<float> shares;
};

std::vector<Cover> covers(unsigned count, double zoom) {
    std::vector<Cover> all;
    const auto reduced_count = static_cast<unsigned>(std::ceil(count * zoom));
    for (unsigned i = 0; i < reduced_count; ++i) {
        const double begin = i / zoom, end = std::min((i + 1) / zoom, static_cast<double>(count));
        Cover cover{std::min(static_cast<unsigned>(begin), count - 1), {}};
        for (unsigned k = cover.first; k < end; ++k) {
            const double part = std::min(end, k + 1.0) - std::max(begin, static_cast<double>(k));
            cover.shares.push_back(static_cast<float>(part / (end - begin)));
        }
        all.push_back(std::move(cover));
    }
    return all;
}

}  // namespace

GreyPicture grey_picture(const Image& image, const GreyRange& range) {
    constexpr unsigned kLevels = 65536;
    std::vector<std::uint8_t> shades(kLevels);
    for (unsigned level = 0; level < kLevels; ++level) shades[level] = range.shown(static_cast<std::uint16_t>(level));
    GreyPicture picture{image.GetWidth(), image.GetHeight(), {}};
    picture.pixels.resize(std::size_t{picture.width} * picture.height);
    auto pixel = picture.pixels.begin();
    for (unsigned y = 0; y < picture.height; ++y) {
        for (const std::uint16_t level : grey_row(image, y)) *pixel++ = shades[level];
    }
    return picture;
}

GreyPicture reduced(const GreyPicture& picture, double zoom) {
    const std::vector<Cover> columns = covers(picture.width, zoom), rows = covers(picture.height, zoom);
    GreyPicture small{static_cast<unsigned>(columns.size()), static_cast<unsigned>(rows.size()), {}};
    small.pixels.reserve(columns.size() * rows.size());
    std::vector<float> mean(picture.width);  // of the rows that one row of the reduced picture covers
    for (const Cover& row : rows) {
        std::ranges::fill(mean, 0.5F);  // so that the result is rounded
        for (unsigned k = 0; k < row.shares.size(); ++k) {
            const std::span<const std::uint8_t> pixels = picture.row(row.first + k);
            const float share = row.shares[k];
            for (std::size_t x = 0; x < mean.size(); ++x) mean[x] += share * static_cast<float>(pixels[x]);
        }
        for (const Cover& column : columns) {
            float sum = 0.0F;
            for (std::size_t k = 0; k < column.shares.size(); ++k) sum += column.shares[k] * mean[column.first + k];
            small.pixels.push_back(static_cast<std::uint8_t>(std::min(sum, 255.0F)));
        }
    }
    return small;
}

}  // namespace Norvane::Host
