// SPDX-License-Identifier: Apache-2.0
/// Compares the mask operations with OpenCV's 31 x 31 box filter of the same prepared image.
#include "allocations.h"
#include "pictures.h"
#include "yardstick.h"

#include <opencv2/imgproc.hpp>

#include <thread>

namespace Norvane::Bench {
namespace {

struct Masks {
    Mask frame, full, breast, pect, second;
};

struct Case {
    Acquisition kind;
    BG_NOISE noise;
    std::unique_ptr<Image> image;
    Masking::Params params;

    explicit Case(const benchmark::State& state, IMAGE_VIEW view)
        : kind(state.range(0) >= 1022 ? kLargeDetector : kSmallDetector), noise(static_cast<BG_NOISE>(state.range(1))) {
        kind.side = state.range(2) != 0 ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
        kind.view = view;
        const auto width = static_cast<unsigned>(state.range(0));
        const unsigned height = width == 1022 ? 1257 : width == 2044 ? 2514 : 1050;
        image = resized(*prepared(kind, noise), width, height);
        params = params_for(kind, noise);
    }
};

template <class Work>
void beside_the_box_filter(benchmark::State& state, const Image& image, Target target, Work work) {
    const cv::Mat matrix = matrix_over(image);
    cv::Mat blurred;
    compare(
        state, "x_opencv_box31", target, [] {}, work,
        [&] {
            cv::blur(matrix, blurred, {31, 31});
        });
}

void full_mask(benchmark::State& state, bool fast) {
    Case c(state, state.range(3) != 0 ? VIEW_PECT : VIEW_NO_PECT);
    c.params.maskingSpeed = fast;
    int status = 0;
    const auto run = [&] {
        Masks m;
        status = NvGenerateFullMask(c.image.get(), c.params, &m.frame, &m.full, &m.pect, &m.second);
    };
    restart_peak();
    run();
    const double peak = static_cast<double>(peak_bytes()) / c.image->BufferSize();
    beside_the_box_filter(state, *c.image, fast ? Target{12.0, 6.0} : Target{20.0, 10.0}, run);
    state.counters["peak_images"] = peak;
    state.counters["status"] = status;
}

void frame_mask(benchmark::State& state) {
    const Case c(state, VIEW_PECT);
    beside_the_box_filter(state, *c.image, {4.0, 2.0}, [&] {
        Mask frame, *out = &frame;
        NvGenerateFrameMask(c.image.get(), c.params, out);
    });
}

void pect_mask(benchmark::State& state) {
    const Case c(state, VIEW_PECT);
    Masks m;
    NvGenerateBreastMask(c.image.get(), c.params, &m.frame, &m.breast, nullptr);
    beside_the_box_filter(state, *c.image, {8.0, 4.0}, [&] {
        Mask pect;
        NvGeneratePectMask(c.image.get(), c.params, &m.frame, &m.breast, &pect);
    });
}

#define NORVANE_CASES(...)                               \
    UseManualTime()                                      \
        ->Iterations(1)                                  \
        ->Unit(benchmark::kMillisecond)                  \
        ->ArgNames({"width", "class", "left", "muscle"}) \
        ->ArgsProduct(__VA_ARGS__)
BENCHMARK_CAPTURE(full_mask, default_search, false)
    ->NORVANE_CASES({{815, 1022}, {BG_AUTO_COARSE, BG_MG, BG_AUTO}, {0, 1}, {1}});
BENCHMARK_CAPTURE(full_mask, default_search_no_muscle, false)->NORVANE_CASES({{1022, 2044}, {BG_AUTO}, {1}, {0}});
BENCHMARK_CAPTURE(full_mask, fast_search, true)
    ->NORVANE_CASES({{815, 1022}, {BG_AUTO_COARSE, BG_MG, BG_AUTO}, {0, 1}, {1}});
BENCHMARK_CAPTURE(full_mask, default_search_four_times, false)->NORVANE_CASES({{2044}, {BG_AUTO}, {1}, {1}});
BENCHMARK(frame_mask)->NORVANE_CASES({{815, 1022, 2044}, {BG_AUTO}, {0, 1}, {1}});
BENCHMARK(pect_mask)->NORVANE_CASES({{815, 1022, 2044}, {BG_AUTO}, {0, 1}, {1}});

/// Compares images per second on two cores with one. It must not be pinned to one core.
void two_threads(benchmark::State& state) {
    constexpr int kImages = 6;
    const auto source = acquired(kSmallDetector);
    const auto work = [&] {
        Image own(FORMAT_UNSIGNED, 16, source->GetWidth(), source->GetHeight(), true);
        own.MatchSecondaryTo(source.get());
        for (int i = 0; i < kImages; ++i) {
            std::copy_n(source->GetBuffer(), source->BufferSize(), own.GetBuffer());
            float scale = 0.0F;
            const std::unique_ptr<Image> image(PrepareImage(&own, scale, BG_AUTO, false, nullptr, nullptr, nullptr));
            Masks m;
            NvGenerateFullMask(image.get(), params_for(kSmallDetector, BG_AUTO), &m.frame, &m.full, &m.pect, &m.second);
        }
    };
    for (auto _ : state) {
        const double one = median_seconds(work, 5);
        const double two = median_seconds(
            [&] {
                std::thread other(work);
                work();
                other.join();
            },
            5);
        state.SetIterationTime(two);
        state.counters["x_one_thread"] = 2.0 * one / two;
        state.counters["at_least"] = 1.9;
    }
}
BENCHMARK(two_threads)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Norvane::Bench
