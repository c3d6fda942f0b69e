// SPDX-License-Identifier: Apache-2.0
/// The calls of bench/python_overhead.py without Python: answers each line of standard input by running what it names
/// once, with the nanoseconds of processor time that took and a number that tells whether the result is the same.
#include <norvane/norvane.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Norvane;

long long processor_nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

std::unique_ptr<Image> prepare(std::vector<std::uint16_t>& pixels, unsigned width, unsigned height) {
    Image image(reinterpret_cast<unsigned char*>(pixels.data()), FORMAT_UNSIGNED, 16, width, height, 70.0F, true);
    image.SetUsedBits(12);
    float scale = 0.0F;
    return std::unique_ptr<Image>(PrepareImage(&image, scale, BG_AUTO_COARSE, true, nullptr, nullptr, nullptr));
}

unsigned long long sum_of(const Image& image) {
    const auto* words = reinterpret_cast<const std::uint16_t*>(image.GetBuffer());
    unsigned long long sum = 0;
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        for (unsigned x = 0; x < image.GetWidth(); ++x) sum += words[std::size_t{y} * image.GetStride() + x];
    }
    return sum;
}

unsigned long long full_mask(Image& image, long long& nanoseconds) {
    Masking::Params params;
    params.side = SIDE_CHEST_LEFT;
    params.view = VIEW_PECT;
    params.bgNoise = BG_AUTO_COARSE;
    params.fullContour = true;
    const long long start = processor_nanoseconds();
    Mask frame, full, muscle, outer;
    const auto status = NvGenerateFullMask(&image, params, &frame, &full, &muscle, &outer);
    nanoseconds = processor_nanoseconds() - start;
    full.SetTargetPixelSize(full.GetPixelSize());
    return 1'000'000ULL * full.GetMaxX() + 10ULL * full.GetMaxY() + static_cast<unsigned>(status);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const auto width = static_cast<unsigned>(std::atoi(argv[2]));
    const auto height = static_cast<unsigned>(std::atoi(argv[3]));
    std::vector<std::uint16_t> pixels(std::size_t{width} * height);
    std::ifstream(argv[1], std::ios::binary)
        .read(reinterpret_cast<char*>(pixels.data()), static_cast<std::streamsize>(pixels.size() * 2));
    const std::unique_ptr<Image> prepared = prepare(pixels, width, height);
    for (std::string what; std::getline(std::cin, what);) {
        long long nanoseconds = 0;
        unsigned long long result = 0;
        if (what == "prepare") {
            const long long start = processor_nanoseconds();
            const std::unique_ptr<Image> image = prepare(pixels, width, height);
            nanoseconds = processor_nanoseconds() - start;
            result = sum_of(*image);
        } else {
            result = full_mask(*prepared, nanoseconds);
        }
        std::cout << nanoseconds << ' ' << result << std::endl;
    }
    return 0;
}
