// SPDX-License-Identifier: Apache-2.0
/// Compares image preparation with OpenCV's area resize of the same image.
#include "allocations.h"
#include "imaging/filter.h"
#include "model/numbers.h"
#include "pictures.h"
#include "yardstick.h"

#include <opencv2/imgproc.hpp>

#include <cstring>

namespace Norvane::Bench {
namespace {

/// Columns of a benchmark's arguments.
enum Argument { kResampleFirst, kUsedBits, kOwnsBuffer, kSize };

struct Source {
    std::unique_ptr<Image> original;  // stays unchanged
    Image work;                       // is prepared, and maybe changed
    std::vector<unsigned char> foreign;

    Source(const Acquisition& kind, bool owns) : original(acquired(kind)) {
        if (owns) {
            work.MatchTo(original.get(), true);
        } else {
            foreign.resize(original->BufferSize());
            work.MatchTo(original.get(), false);
            work.SetBuffer(foreign.data());
        }
        restore();
    }
    void restore() { std::memcpy(work.GetBuffer(), original->GetBuffer(), original->BufferSize()); }
};

std::unique_ptr<Image> prepare(Image& image, bool resample_first) {
    float scale = 0.0F;
    return std::unique_ptr<Image>(PrepareImage(&image, scale, BG_AUTO, resample_first, nullptr, nullptr, nullptr));
}

/// Prepares step by step on whole images, for sources with at most 15 used bits.
std::unique_ptr<Image> prepare_plainly(Image& image, bool resample_first) {
    const auto scale = static_cast<float>(static_cast<double>(image.GetPixelSize()) / 228.0);
    const auto resample = [&](Image& from) {
        const auto scaled = [&](unsigned v) { return truncate_to<unsigned>(v * static_cast<double>(scale) + 0.5); };
        auto to =
            std::make_unique<Image>(FORMAT_UNSIGNED, 16U, scaled(from.GetWidth()), scaled(from.GetHeight()), true);
        to->MatchSecondaryTo(&from);
        Filter::Resample(&from, to.get(), scale, truncate_to<unsigned>(1.0 / static_cast<double>(scale) + 0.5));
        return to;
    };
    std::unique_ptr<Image> small = resample_first ? resample(image) : nullptr;
    Image& grey = resample_first ? *small : image;
    std::vector<int> table(65536);
    for (unsigned i = 0; i < table.size(); ++i) table[i] = static_cast<int>(i << (16 - grey.GetUsedBits()));
    Filter::ContrastStretch(&grey, 0, 1, table.data(), 65536);
    double largest = 0.0;
    Filter::Norm(&grey, &largest);
    if (const int factor = truncate_to<int>(65535.0 / largest); factor > 1) Filter::MultiplyS(&grey, factor);
    return resample_first ? std::move(small) : resample(image);
}

bool same_pixels(const Image& a, const Image& b) {
    return a.BufferSize() == b.BufferSize() && std::memcmp(a.GetBuffer(), b.GetBuffer(), a.BufferSize()) == 0;
}

void prepare_image(benchmark::State& state) {
    Acquisition kind = state.range(kSize) != 0 ? kLargeDetector : kSmallDetector;
    if (state.range(kSize) == 2) kind.width /= 2, kind.height /= 2;
    kind.used_bits = static_cast<unsigned>(state.range(kUsedBits));
    const bool resample_first = state.range(kResampleFirst) != 0, owns = state.range(kOwnsBuffer) != 0;
    Source source(kind, owns);
    std::unique_ptr<Image> result = prepare(source.work, resample_first);
    if (kind.used_bits < 16) {
        Source plain(kind, true);
        if (!same_pixels(*prepare_plainly(plain.work, resample_first), *result))
            return state.SkipWithError("differs from the plain steps");
    }
    source.restore();
    restart_peak();
    auto again = prepare(source.work, resample_first);
    const std::size_t extra = peak_bytes() - again->BufferSize();
    again.reset();

    const cv::Mat matrix = matrix_over(*source.original);
    cv::Mat small;
    const bool is_easy = owns && kind.used_bits < 16;
    compare(
        state, "x_opencv_area", {is_easy ? 1.0 : 1.2, 0.0}, [&] { source.restore(); },
        [&] { result = prepare(source.work, resample_first); },
        [&] {
            cv::resize(matrix, small, {static_cast<int>(result->GetWidth()), static_cast<int>(result->GetHeight())}, 0,
                       0, cv::INTER_AREA);
        });
    const double copy = median_seconds([&] { source.restore(); });
    state.counters["x_memcpy"] = state.counters["ours_ms"] / (copy * 1e3);
    state.counters["extra_KiB"] = static_cast<double>(extra) / 1024.0;
}

BENCHMARK(prepare_image)
    ->ArgNames({"first", "bits", "owns", "size"})
    ->ArgsProduct({{0, 1}, {12}, {1}, {0, 1, 2}})
    ->ArgsProduct({{0, 1}, {16}, {1}, {1}})
    ->ArgsProduct({{0, 1}, {12}, {0}, {1}})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void resample(benchmark::State& state) {
    const auto source = acquired(kLargeDetector);
    constexpr float kFactor = 0.5F;
    Image result(FORMAT_UNSIGNED, 16, source->GetWidth() / 2, source->GetHeight() / 2, true);
    const cv::Mat matrix = matrix_over(*source);
    cv::Mat blurred, small;
    compare(
        state, "x_opencv_blur_linear", {0.7, 0.4}, [] {}, [&] { Filter::Resample(source.get(), &result, kFactor, 2); },
        [&] {
            cv::blur(matrix, blurred, {3, 3});
            cv::resize(blurred, small, {static_cast<int>(result.GetWidth()), static_cast<int>(result.GetHeight())}, 0,
                       0, cv::INTER_LINEAR);
        });
}
BENCHMARK(resample)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Norvane::Bench
