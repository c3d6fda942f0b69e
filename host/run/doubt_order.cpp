// SPDX-License-Identifier: Apache-2.0
#include "run/doubt_order.h"

#include "findings/status_text.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>
#include <utility>

namespace Norvane::Host {
namespace {

constexpr double kDoubtToLookAt = 0.5;

constexpr std::pair<Masking::MASK_STATUS, Gravity> kGravities[] = {
    {Masking::MASK_OK, kNoDoubt},
    {Masking::MASK_PECT_NOT_APPLICABLE, kNoDoubt},
    {Masking::MASK_PECT_FAILED, kMuscleMissing},
    {Masking::MASK_PECT_REJECTED, kMuscleMissing},
    {Masking::MASK_BOUNDARY_TRACING, kMuscleMissing},
    {Masking::MASK_CUT_TISSUE, kMaskDoubtful},
    {Masking::MASK_CHEST_WALL, kMaskDoubtful},
    {Masking::MASK_BG_NOISE, kMaskDoubtful},
};  // with every other status, there is no useful mask

/// Records with smaller ranks come first.
std::tuple<int, double, double> rank_of(const ImageRecord* record) {
    return {-gravity_of(*record), -greatest_doubt_of(*record),
            std::isnan(record->outline_contrast) ? 0.0 : record->outline_contrast};
}

}  // namespace

Gravity gravity_of(Masking::MASK_STATUS status) {
    const auto* found = std::ranges::find(kGravities, status, &std::pair<Masking::MASK_STATUS, Gravity>::first);
    return found == std::end(kGravities) ? kMaskUseless : found->second;
}

std::vector<Masking::MASK_STATUS> doubts_of(const ImageRecord& record) {
    std::vector<Masking::MASK_STATUS> doubts;
    for (const auto status : {record.status, record.breast_status, record.pectoral_status}) {
        if (gravity_of(status) != kNoDoubt && std::ranges::find(doubts, status) == doubts.end()) {
            doubts.push_back(status);
        }
    }
    std::ranges::stable_sort(doubts, std::ranges::greater(),
                             [](Masking::MASK_STATUS status) { return gravity_of(status); });
    return doubts;
}

Gravity gravity_of(const ImageRecord& record) {
    return std::max({gravity_of(record.status), gravity_of(record.breast_status), gravity_of(record.pectoral_status)});
}

double greatest_doubt_of(const ImageRecord& record) {
    return std::max(record.breast_doubt.value_or(0.0), record.muscle_doubt.value_or(0.0));
}

std::string reason_to_look(const ImageRecord& record) {
    const auto doubts = doubts_of(record);
    if (!doubts.empty()) return text_of(doubts.front()).sentence;
    const double doubt = greatest_doubt_of(record);
    if (doubt <= kDoubtToLookAt) return {};
    return fmt::format("The doubt of the {} is {:.2f}.", doubt == record.breast_doubt ? "breast" : "muscle", doubt);
}

std::vector<const ImageRecord*> in_order_of_doubt(const std::vector<ImageRecord>& records) {
    std::vector<const ImageRecord*> order;
    for (const ImageRecord& record : records) {
        if (record.refusal.empty()) order.push_back(&record);
    }
    std::ranges::stable_sort(order, {}, rank_of);
    return order;
}

}  // namespace Norvane::Host
