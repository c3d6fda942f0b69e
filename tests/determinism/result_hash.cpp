// SPDX-License-Identifier: Apache-2.0
/// One number for everything that the library computes from random images. scripts/check_determinism.sh compares it
/// between compilers, options and processors.
///   result_hash [images]
#include "support/random_cases.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

namespace Norvane::Tests {
namespace {

using Statuses = std::map<std::string, std::map<int, int>>;  // how often each call answered what

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

}  // namespace
}  // namespace Norvane::Tests

int main(int argc, char** argv) {
    using namespace Norvane::Tests;
    const int images = argc > 1 ? std::atoi(argv[1]) : 500;
    const bool is_verbose = std::getenv("NORVANE_HASH_EACH") != nullptr;  // to find the image that differs
    Hash all;
    Statuses statuses;
    for (int i = 0; i < images; ++i) {
        Random random(static_cast<unsigned>(i));
        Hash one;
        add_results(random, one, statuses);
        if (is_verbose) std::fprintf(stderr, "%d %016llx\n", i, static_cast<unsigned long long>(one.value()));
        all.add(one.value());
    }
    for (const auto& [call, counts] : statuses) {
        std::fprintf(stderr, "%s:", call.c_str());
        for (const auto& [status, count] : counts) std::fprintf(stderr, " %d x%d", status, count);
        std::fprintf(stderr, "\n");
    }
    std::printf("%016llx\n", static_cast<unsigned long long>(all.value()));
}
