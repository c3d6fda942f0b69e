// SPDX-License-Identifier: Apache-2.0
#include "support/random_cases.h"

#include <algorithm>

namespace Norvane::Tests {
namespace {

std::unique_ptr<Image> breast(Random& random, unsigned width, unsigned height, bool on_left) {
    BreastSketch sketch;
    sketch.on_left = on_left;
    sketch.radius = random.between(10, 1 + static_cast<int>(std::max(width, height)));
    sketch.middle = random.between(0, static_cast<int>(height));
    sketch.muscle = random.between(0, static_cast<int>(width));
    sketch.frame = random.chance(3) ? random.between(0, 12) : 0;
    sketch.noise = 1 + random.below(random.chance(4) ? 20000 : 800);
    sketch.dark = random.below(16000);
    sketch.bright = random.below(40000);
    sketch.more = random.below(12000);
    return grey_image(width, height, [&](unsigned x, unsigned y) { return sketch.grey(x, y, width, height, random); });
}

/// The detector's steps one by one: their floats differ long before a status does.
void add_steps(Image& image, Mask& frame, Mask& breast_mask, IMAGE_SIDE side, Hash& hash, Statuses& statuses) {
    OpenPectDetect detector;
    detector.imageSide = side;
    const std::unique_ptr<Mask> bound(detector.get_bound_mask(&breast_mask, &frame, side));
    Image *cut = nullptr, *edges = nullptr;
    const bool has_roi = bound != nullptr && detector.get_roi(&image, bound.get(), side, cut);
    const std::unique_ptr<Image> roi(cut);
    const bool has_edges = has_roi && detector.get_edge(roi.get(), bound.get(), side, edges);
    const std::unique_ptr<Image> edge(edges);
    float rho = 0, theta = 0;
    if (!has_edges || !detector.get_line(edge.get(), side, rho, theta)) return;
    hash.add(*edge);
    hash.add(rho);
    hash.add(theta);
    const int dx = static_cast<int>(roi->GetOffX()), dy = static_cast<int>(roi->GetOffY());
    const int pooled = detector.verify_pect(&image, rho, theta, dx, dy, side);
    const int paired = detector.verify_pect_pairwise(&image, rho, theta, dx, dy, side);
    ++statuses["contrast"][pooled];
    ++statuses["paired contrast"][paired];
    hash.add(pooled);
    hash.add(paired);
}

/// The two searches and the patch, whose radii are floats.
void add_contours(Image& image, Mask& frame, const Masking::Params& params, Hash& hash) {
    OpenMasking masking;
    masking.update_params(params);
    if (masking.find_polar_center(&image, &frame) != Masking::MASK_OK) return;
    masking.extract_thresholds(&image);
    const auto work = grey_image(image.GetWidth(), image.GetHeight());
    Image* patched = work.get();
    hash.add(masking.patch_chestwall(&image, &frame, patched));
    hash.add(*work);
    std::vector<float> outer;
    hash.add(masking.find_contour_border(&image, patched, &frame, outer, true));
    hash.add(outer);
    hash.add(masking.find_contour_border_opt(&image, patched, &frame, outer));
    hash.add(outer);
    hash.add(masking.find_polar_contour(&image, patched, &frame));
}

}  // namespace

std::unique_ptr<Image> random_image(Random& random, bool on_left) {
    const unsigned width = 1 + random.below(300), height = 1 + random.below(300);
    if (random.chance(8)) return grey_image(width, height, [&](unsigned, unsigned) { return random.below(65536); });
    return breast(random, std::max(width, 60U), std::max(height, 60U), on_left);
}

Masking::Params random_params(Random& random, bool on_left, std::vector<int>& contour) {
    Masking::Params p;
    p.side = random.chance(20) ? SIDE_UNDEFINED : on_left ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
    p.view = random.chance(8) ? VIEW_NO_PECT : VIEW_PECT;
    p.bgNoise = static_cast<BG_NOISE>(random.below(10));
    p.noiseLevel = static_cast<unsigned short>(random.below(30000));
    p.pixelPaddingValueRangeLimit = static_cast<unsigned short>(random.below(65536));
    for (bool* flag : {&p.fullContour, &p.singleContour, &p.smoothContour, &p.checkCutTissue, &p.maskingSpeed})
        *flag = random.chance(2);
    p.pectContour = random.chance(4);
    p.contourOffset = random.between(-3, 3);
    if (random.chance(4)) {
        p.contourOutput = true;
        contour.assign(1440, 0);
        p.contour = &contour;
    }
    return p;
}

void add_results(Random& random, Hash& hash, Statuses& statuses) {
    const bool on_left = random.chance(2);
    auto image = random_image(random, on_left);
    if (random.chance(2)) {
        image->SetPixelSize(static_cast<float>(random.between(100, 228)));
        image->SetUsedBits(12 + random.below(5));
        float scale = 0;
        unsigned short padding = static_cast<unsigned short>(random.below(5000)), limit = padding;
        const auto noise = static_cast<BG_NOISE>(random.below(10));
        const bool resamples_first = random.chance(2);
        image.reset(PrepareImage(image.get(), scale, noise, resamples_first, nullptr, &padding, &limit));
        hash.add(scale);
        hash.add(padding + limit);
        if (image == nullptr) return;
    }
    hash.add(*image);
    std::vector<int> contour;
    const Masking::Params params = random_params(random, on_left, contour);
    Mask frame, breast_mask, whole, pect, second, alone;
    Mask* found = &frame;
    int box[4] = {};
    const auto note = [&](const char* call, int status) {
        ++statuses[call][status];
        hash.add(status);
    };
    note("frame", NvGenerateFrameMask(image.get(), params, found));
    note("breast", NvGenerateBreastMask(image.get(), params, &frame, &breast_mask, box));
    hash.add(contour);
    hash.add(std::vector<int>(box, box + 4));
    note("full", NvGenerateFullMask(image.get(), params, &frame, &whole, &pect, random.chance(2) ? &second : nullptr));
    note("muscle", NvGeneratePectMask(image.get(), params, &frame, &breast_mask, &alone));
    for (const Mask* mask : {found, &breast_mask, &whole, &pect, &second, &alone}) hash.add(mask);
    if (params.side == SIDE_UNDEFINED) return;
    add_contours(*image, frame, params, hash);
    add_steps(*image, frame, breast_mask, params.side, hash, statuses);
}

}  // namespace Norvane::Tests
