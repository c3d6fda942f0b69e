// SPDX-License-Identifier: Apache-2.0
/// Compares filters and grey-level operations with those of OpenCV or with a copy of the image.
#include "imaging/filter.h"
#include "model/pixels.h"
#include "pictures.h"
#include "yardstick.h"

#include <opencv2/imgproc.hpp>

#include <cstring>
#include <vector>

namespace Norvane::Bench {
namespace {

std::unique_ptr<Image> picture(const benchmark::State& state) {
    return state.range(0) == 1022 ? prepared(kLargeDetector, BG_AUTO)
                                  : resized(*prepared(kLargeDetector, BG_AUTO), 2044, 2516);
}

/// The mean of the 31 x 31 pixels around a pixel, rounded half up. Outside the image are zeros.
unsigned box_mean_at(const Image& image, unsigned x, unsigned y) {
    constexpr unsigned kHalf = 15, kCells = 31 * 31;
    std::uint64_t sum = 0;
    for (unsigned v = y < kHalf ? 0 : y - kHalf; v <= y + kHalf && v < image.GetHeight(); ++v)
        for (unsigned u = x < kHalf ? 0 : x - kHalf; u <= x + kHalf && u < image.GetWidth(); ++u)
            sum += grey_row(image, v)[u];
    return static_cast<unsigned>((2 * sum + kCells) / (2 * kCells));
}

void blur(benchmark::State& state) {
    const auto image = picture(state);
    Image blurred(image.get(), true);
    const cv::Mat matrix = matrix_over(*image);
    cv::Mat theirs;
    Filter::Blur(image.get(), &blurred, 31, 31, 15, 15);
    // OpenCV scales in single precision and is sometimes off by one, so the result is compared with the definition.
    for (unsigned i = 0; i < 5000; ++i) {
        const unsigned x = i * 7919 % image->GetWidth(), y = i * 104729 % image->GetHeight();
        if (grey_row(blurred, y)[x] != box_mean_at(*image, x, y))
            return state.SkipWithError("differs from the box mean");
    }
    compare(
        state, "x_opencv_box31", {1.0, 0.6}, [] {}, [&] { Filter::Blur(image.get(), &blurred, 31, 31, 15, 15); },
        [&] {
            cv::blur(matrix, theirs, {31, 31});
        });
}

void contrast_stretch(benchmark::State& state) {
    const auto image = picture(state);
    std::vector<int> table(65536);
    for (unsigned i = 0; i < table.size(); ++i) table[i] = static_cast<int>(65535 - i);
    std::vector<unsigned char> copy(image->BufferSize());
    Image twice(image.get(), true);
    std::memcpy(twice.GetBuffer(), image->GetBuffer(), copy.size());
    Filter::ContrastStretch(&twice, 0, 1, table.data(), 65536);
    for (unsigned y = 0; y < image->GetHeight(); ++y)
        for (unsigned x = 0; x < image->GetWidth(); ++x)
            if (grey_row(twice, y)[x] != 65535 - grey_row(*image, y)[x])
                return state.SkipWithError("differs from the table");
    compare(
        state, "x_memcpy", {4.0, 2.0}, [] {}, [&] { Filter::ContrastStretch(image.get(), 0, 1, table.data(), 65536); },
        [&] { std::memcpy(copy.data(), image->GetBuffer(), copy.size()); });
}

void histogram(benchmark::State& state) {
    const auto image = picture(state);
    std::vector<int> counts(512);
    const cv::Mat matrix = matrix_over(*image);
    cv::Mat theirs;
    const int channel = 0, bins = 512;
    const float range[] = {0.0F, 65536.0F};
    const float* ranges = range;
    const auto yardstick = [&] { cv::calcHist(&matrix, 1, &channel, cv::Mat(), theirs, 1, &bins, &ranges); };
    yardstick();
    Filter::ComputeHisto(image.get(), counts.data(), 512);
    for (int i = 0; i < 512; ++i)
        if (static_cast<float>(counts[static_cast<std::size_t>(i)]) != theirs.at<float>(i))
            return state.SkipWithError("differs from the counts");
    compare(
        state, "x_opencv_hist", {1.0, 0.7}, [] {}, [&] { Filter::ComputeHisto(image.get(), counts.data(), 512); },
        yardstick);
}

void sobel_float(benchmark::State& state) {
    const auto image = picture(state);
    Image floats(FORMAT_FLOAT, 32, image->GetWidth(), image->GetHeight(), true), edges(&floats, true);
    for (unsigned y = 0; y < image->GetHeight(); ++y)
        std::ranges::copy(grey_row(*image, y), row_of<float>(floats, y).begin());
    const cv::Mat matrix(static_cast<int>(floats.GetHeight()), static_cast<int>(floats.GetWidth()), CV_32F,
                         floats.GetBuffer());
    const cv::Mat ours(matrix.rows, matrix.cols, CV_32F, edges.GetBuffer());
    cv::Mat theirs;
    Filter::ConvolveFixed(&floats, &edges, 2);
    cv::Sobel(matrix, theirs, CV_32F, 1, 0, 3, -1.0, 0.0, cv::BORDER_CONSTANT);
    if (cv::norm(ours, theirs, cv::NORM_INF) != 0.0) return state.SkipWithError("differs from the kernel");
    compare(
        state, "x_opencv_sobel", {1.5, 1.0}, [] {}, [&] { Filter::ConvolveFixed(&floats, &edges, 2); },
        [&] { cv::Sobel(matrix, theirs, CV_32F, 1, 0, 3); });
}

#define NORVANE_SIZES \
    UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond)->ArgName("width")->Arg(1022)->Arg(2044)
BENCHMARK(blur)->NORVANE_SIZES;
BENCHMARK(contrast_stretch)->NORVANE_SIZES;
BENCHMARK(histogram)->NORVANE_SIZES;
BENCHMARK(sobel_float)->NORVANE_SIZES;

}  // namespace
}  // namespace Norvane::Bench
