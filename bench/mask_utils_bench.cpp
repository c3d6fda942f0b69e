// SPDX-License-Identifier: Apache-2.0
/// Compares mask morphology and set algebra with OpenCV on bitmaps of the same size.
#include "imaging/mask_utils.h"
#include "model/mask_reader.h"
#include "pictures.h"
#include "yardstick.h"

#include <opencv2/imgproc.hpp>

namespace Norvane::Bench {
namespace {

constexpr int kIterations = 24;

Mask breast_of(unsigned width) {
    const auto image = resized(*prepared(kLargeDetector, BG_AUTO), width, width * 1257 / 1022);
    Mask frame, breast;
    NvGenerateBreastMask(image.get(), params_for(kLargeDetector, BG_AUTO), &frame, &breast, nullptr);
    breast.SetTargetPixelSize(breast.GetPixelSize());
    return breast;
}

/// The mask's bounding box as an 8-bit bitmap.
cv::Mat bitmap_of(const Mask& mask) {
    const unsigned x0 = mask.GetMinX(), y0 = mask.GetMinY();
    cv::Mat bitmap(static_cast<int>(mask.GetMaxY() - y0 + 1), static_cast<int>(mask.GetMaxX() - x0 + 1), CV_8U,
                   cv::Scalar(0));
    MaskReader reader(mask);
    for (int y = 0; y < bitmap.rows; ++y)
        for (const Run& run : reader.row(static_cast<unsigned>(y) + y0))
            std::fill_n(bitmap.ptr(y) + (run.first - x0), run.last - run.first + 1, static_cast<unsigned char>(255));
    return bitmap;
}

template <class Operation>
void morphology(benchmark::State& state, Operation operation, void (*yardstick)(const cv::Mat&, cv::Mat&)) {
    Mask breast = breast_of(static_cast<unsigned>(state.range(0))), result;
    const cv::Mat bitmap = bitmap_of(breast);
    cv::Mat theirs;
    compare(
        state, "x_opencv_49x49", {0.5, 0.1}, [] {}, [&] { operation(&breast, &result, kIterations); },
        [&] { yardstick(bitmap, theirs); });
}

void erode(benchmark::State& state) {
    morphology(state, Utils::MaskErode, [](const cv::Mat& from, cv::Mat& to) {
        cv::erode(from, to, cv::getStructuringElement(cv::MORPH_RECT, {49, 49}));
    });
}
void dilate(benchmark::State& state) {
    morphology(state, Utils::MaskDilate, [](const cv::Mat& from, cv::Mat& to) {
        cv::dilate(from, to, cv::getStructuringElement(cv::MORPH_RECT, {49, 49}));
    });
}

/// Ellipses of `rows` rows, shifted against each other.
Mask ellipse(unsigned rows, unsigned shift) {
    Mask mask;
    mask.SetPixelSize(228.0F);
    mask.SetTargetPixelSize(228.0F);
    for (unsigned y = 0; y < rows; ++y) {
        const double h = (y - rows / 2.0 + 0.5) / (rows / 2.0);
        const auto half = static_cast<unsigned>(rows * 0.4 * std::sqrt(1.0 - h * h));
        mask.AddSegment(y, rows / 2 + shift - half, 2 * half);
    }
    return mask;
}

template <class Operation>
void set_algebra(benchmark::State& state, Operation operation) {
    const auto rows = static_cast<unsigned>(state.range(0));
    Mask a = ellipse(rows, 0), b = ellipse(rows, rows / 10);
    const cv::Mat bitmap_a(static_cast<int>(rows), static_cast<int>(rows), CV_8U, cv::Scalar(255)),
        bitmap_b = bitmap_a.clone();
    cv::Mat theirs;
    compare(
        state, "x_opencv_and", {3.0, 1.0}, [] {},
        [&] {
            Mask result;
            operation(&a, &b, &result);
        },
        [&] { cv::bitwise_and(bitmap_a, bitmap_b, theirs); });
}
void intersect(benchmark::State& state) { set_algebra(state, Utils::MaskIntersect); }
void subtract(benchmark::State& state) { set_algebra(state, Utils::MaskSubtract); }

#define NORVANE_SIZES(...) \
    UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond)->ArgName("size")->ArgsProduct({{__VA_ARGS__}})
BENCHMARK(erode)->NORVANE_SIZES(1022, 2044);
BENCHMARK(dilate)->NORVANE_SIZES(1022, 2044);
BENCHMARK(intersect)->NORVANE_SIZES(1000, 2000);
BENCHMARK(subtract)->NORVANE_SIZES(1000, 2000);

}  // namespace
}  // namespace Norvane::Bench
