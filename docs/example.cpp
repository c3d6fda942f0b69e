#include <norvane/norvane.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

int main() {
    using namespace Norvane;
    const unsigned width = 1200, height = 1600;             // an acquired mammogram: here a bright half disc
    std::vector<std::uint16_t> pixels(width * height, 20);  // 12-bit samples, rows of an even number of pixels
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < 800; ++x)
            if ((x * x) + (y - 800) * (y - 800) < 700 * 700) pixels[y * width + x] = 2200;
    Image acquired(reinterpret_cast<unsigned char*>(pixels.data()), FORMAT_UNSIGNED, 16, width, height, 100.0F, true);
    acquired.SetUsedBits(12);

    float scale = 0.0F;
    const std::unique_ptr<Image> image(PrepareImage(&acquired, scale, BG_AUTO, true, nullptr, nullptr, nullptr));
    Masking::Params params;
    params.side = SIDE_CHEST_LEFT;
    params.view = VIEW_NO_PECT;
    params.fullContour = true;
    Mask frame, full, muscle, outer;
    const auto status = NvGenerateFullMask(image.get(), params, &frame, &full, &muscle, &outer);
    std::printf("status %d, breast down to row %u at %g micrometres\n", status, full.GetMaxY(),
                static_cast<double>(full.GetPixelSize()));
    return status == Masking::MASK_OK ? 0 : 1;
}
