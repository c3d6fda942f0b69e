// SPDX-License-Identifier: Apache-2.0
#include "findings/noise_trials.h"

#include <algorithm>
#include <array>

namespace Norvane::Host {
namespace {

constexpr const char* kAgreement = "agreement";

// The first stops at steep edges, the second also at weak ones, and the third has a fixed level, which a foggy
// background does not mislead. So their mistakes have different causes. Their number is odd because of nested masks the
// middle one agrees best.
constexpr std::array kCandidates{BG_MG_RAW, BG_MG_RAW_2, BG_FIXED_MID};

// Every other status means that there is no mask, or that it is not that of a breast.
bool is_usable(const NoiseTrial& trial) {
    return trial.area > 0 && (trial.status == Masking::MASK_OK || trial.status == Masking::MASK_CHEST_WALL);
}

double mean_agreement(const std::vector<NoiseTrial>& trials, const std::vector<Region>& masks, std::size_t own) {
    double sum = 0.0;
    int count = 0;
    for (std::size_t other = 0; other < trials.size(); ++other) {
        if (other == own || !is_usable(trials[other])) continue;
        sum += dice(masks[own], masks[other]);
        ++count;
    }
    return count > 0 ? sum / count : 0.0;
}

}  // namespace

std::vector<NoiseTrial> try_noise_classes(const PreparedImage& prepared, MasksRequest request) {
    std::vector<NoiseTrial> trials;
    std::vector<Region> masks;
    for (const BG_NOISE noise : kCandidates) {
        request.noise = noise;
        PreparedImage image = prepared_for(prepared, noise);
        const FoundMask breast = run_breast(image, request);
        trials.push_back({noise, breast.status, breast.region.area(), {}});
        masks.push_back(breast.region);
    }
    for (std::size_t i = 0; i < trials.size(); ++i) {
        trials[i].measures.emplace_back(kAgreement, mean_agreement(trials, masks, i));
    }
    return trials;
}

const NoiseTrial* best_of(const std::vector<NoiseTrial>& trials) {
    const NoiseTrial* best = nullptr;
    for (const NoiseTrial& trial : trials) {
        if (!is_usable(trial)) continue;
        if (best == nullptr || trial.measures.front().second > best->measures.front().second) best = &trial;
    }
    return best;
}

}  // namespace Norvane::Host
