// SPDX-License-Identifier: Apache-2.0
/// Parameters and state of Masking: construction, and the settings that follow from the noise class.
#include <norvane/masking.h>

#include <array>
#include <utility>

namespace Norvane {
namespace {

/// What a noise class fixes.
struct ClassSettings {
    int noise_level;  // grey level; kGivenLevel: the host's
    int blur_size;    // pixels
    float threshold_scale;
    int gradient_threshold;  // grey levels
};

constexpr int kGivenLevel = -1;

constexpr std::array<ClassSettings, 10> kClassSettings{{
    /* BG_AUTO_COARSE */ {Masking::c_noiseLevel_auto, 31, 0.4F, Masking::c_grad_threshold},
    /* BG_MG          */ {Masking::c_noiseLevel_auto, 11, 0.1F, Masking::c_grad_threshold_MG},
    /* BG_MG_RAW      */ {Masking::c_noiseLevel_auto, 3, 0.1F, Masking::c_grad_threshold_MG_RAW},
    /* BG_GIVEN_LEVEL */ {kGivenLevel, 11, 0.1F, Masking::c_grad_threshold},
    /* BG_AUTO        */ {Masking::c_noiseLevel_auto, 31, 0.33F, Masking::c_grad_threshold},
    /* BG_FIXED_MID   */ {Masking::c_noiseLevel_R716, 31, 0.25F, Masking::c_grad_threshold},
    /* BG_FIXED_HIGH  */ {Masking::c_bg_noise_upper_level, 31, 0.4F, Masking::c_grad_threshold},
    /* BG_MG_RAW_2    */ {Masking::c_noiseLevel_auto, 11, 0.1F, Masking::c_grad_threshold_MG_RAW},
    /* BG_MG_RAW_3    */ {Masking::c_noiseLevel_auto, 11, 0.1F, Masking::c_grad_threshold_MG_RAW},
    /* BG_AUTO_MEDIUM */ {Masking::c_noiseLevel_auto, 31, 0.33F, Masking::c_grad_threshold},
}};

/// Null for null; the caller owns the copy.
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
    ContourState* state = copy_of(other.contourState);  // may throw, before anything is changed; nothing below does
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
    const auto noise_class = static_cast<unsigned>(params.bgNoise);
    if (noise_class >= kClassSettings.size()) return;
    const ClassSettings& settings = kClassSettings[noise_class];
    backgroundNoiseLevel =
        settings.noise_level == kGivenLevel ? params.noiseLevel : static_cast<unsigned short>(settings.noise_level);
    blurSize = settings.blur_size;
    threshScale = settings.threshold_scale;
    gradientThreshold = static_cast<float>(settings.gradient_threshold);
}

}  // namespace Norvane
