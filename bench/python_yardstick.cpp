// SPDX-License-Identifier: Apache-2.0
/// The calls of bench/python_overhead.py without Python, for the same process. Each returns the processor time that it
/// took in nanoseconds, and a number that shows whether the result is the same.
#include <norvane/norvane.h>

#include <cstdint>
#include <ctime>
#include <memory>

namespace {

using namespace Norvane;

long long processor_nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

Image image_over(const std::uint16_t* samples, unsigned width, unsigned height, float pixel_size) {
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<std::uint16_t*>(samples));
    return {bytes, FORMAT_UNSIGNED, 16, width, height, pixel_size, true};
}

}  // namespace

extern "C" {

/// 12-bit samples of 70 micrometres; `check` receives the sum of the prepared ones.
__attribute__((visibility("default"))) long long yardstick_prepare(const std::uint16_t* samples, unsigned width,
                                                                   unsigned height, unsigned long long* check) {
    const long long start = processor_nanoseconds();
    Image image = image_over(samples, width, height, 70.0F);
    image.SetUsedBits(12);
    float scale = 0.0F;
    const std::unique_ptr<Image> made(PrepareImage(&image, scale, BG_AUTO_COARSE, true, nullptr, nullptr, nullptr));
    const long long nanoseconds = processor_nanoseconds() - start;
    const auto* words = reinterpret_cast<const std::uint16_t*>(made->GetBuffer());
    *check = 0;
    for (unsigned y = 0; y < made->GetHeight(); ++y) {
        for (unsigned x = 0; x < made->GetWidth(); ++x) *check += words[std::size_t{y} * made->GetStride() + x];
    }
    return nanoseconds;
}

/// A prepared image whose rows have an even number of pixels. `check` receives the number that bench/python_overhead.py
/// computes from the full mask.
__attribute__((visibility("default"))) long long yardstick_full_mask(const std::uint16_t* samples, unsigned width,
                                                                     unsigned height, float pixel_size,
                                                                     unsigned long long* check) {
    Image image = image_over(samples, width, height, pixel_size);
    Masking::Params params;
    params.side = SIDE_CHEST_LEFT;
    params.view = VIEW_PECT;
    params.bgNoise = BG_AUTO_COARSE;
    params.fullContour = true;
    const long long start = processor_nanoseconds();
    Mask frame, full, muscle, outer;
    const auto status = NvGenerateFullMask(&image, params, &frame, &full, &muscle, &outer);
    const long long nanoseconds = processor_nanoseconds() - start;
    full.SetTargetPixelSize(full.GetPixelSize());
    *check = 1'000'000ULL * full.GetMaxX() + 10ULL * full.GetMaxY() + static_cast<unsigned>(status);
    return nanoseconds;
}

}  // extern "C"
