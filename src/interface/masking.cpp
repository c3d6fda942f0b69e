// SPDX-License-Identifier: Apache-2.0
/// Parameters and state of Masking: construction, and the settings that follow from the noise class.
#include <norvane/masking.h>

#include "interface/masking_members.h"

#include <utility>

namespace Norvane {
namespace {

/// A copy, which the caller owns; null for null.
ContourState* copy_of(const ContourState* state) { return state != nullptr ? new ContourState(*state) : nullptr; }

}  // namespace

Masking::Masking() = default;

Masking::Masking(const Masking& other)
    : backgroundNoiseLevel(other.backgroundNoiseLevel),
      params(other.params),
      threshScale(other.threshScale),
      snapToChestWall(other.snapToChestWall),
      changeThreshold(other.changeThreshold),
      gradientThreshold(other.gradientThreshold),
      gradientScale(other.gradientScale),
      radiusScale(other.radiusScale),
      contourMargin(other.contourMargin),
      blurSize(other.blurSize),
      borderFactor(other.borderFactor),
      chestWallRatioLimit(other.chestWallRatioLimit),
      contourState(copy_of(other.contourState)) {}

Masking& Masking::operator=(const Masking& other) {
    if (this == &other) return *this;
    ContourState* state = copy_of(other.contourState);  // may throw: nothing is changed yet; nothing below throws
    backgroundNoiseLevel = other.backgroundNoiseLevel;
    params = other.params;
    threshScale = other.threshScale;
    snapToChestWall = other.snapToChestWall;
    changeThreshold = other.changeThreshold;
    gradientThreshold = other.gradientThreshold;
    gradientScale = other.gradientScale;
    radiusScale = other.radiusScale;
    contourMargin = other.contourMargin;
    blurSize = other.blurSize;
    borderFactor = other.borderFactor;
    chestWallRatioLimit = other.chestWallRatioLimit;
    delete contourState;
    contourState = state;
    return *this;
}

Masking::~Masking() { delete contourState; }

void Masking::init() {
    const Masking fresh;
    backgroundNoiseLevel = fresh.backgroundNoiseLevel;
    snapToChestWall = fresh.snapToChestWall;
    changeThreshold = fresh.changeThreshold;
    gradientThreshold = fresh.gradientThreshold;
    gradientScale = fresh.gradientScale;
    radiusScale = fresh.radiusScale;
    contourMargin = fresh.contourMargin;
    blurSize = fresh.blurSize;
    borderFactor = fresh.borderFactor;
    chestWallRatioLimit = fresh.chestWallRatioLimit;
    delete std::exchange(contourState, nullptr);
}

void Masking::SetBackgroundNoise(BG_NOISE noiseClass, unsigned short level) {
    params.bgNoise = noiseClass;
    if (noiseClass == BG_GIVEN_LEVEL) params.noiseLevel = level;
    background_noise_updated();
}

void Masking::update_params(Params p) {
    params = p;
    background_noise_updated();
}

void Masking::background_noise_updated() {
    MaskingMembers::write(with_noise_class(MaskingMembers::settings_of(*this), params), *this);
}

}  // namespace Norvane
