// SPDX-License-Identifier: Apache-2.0
#include "phantom/phantom.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Norvane::Host {
namespace {

// Random numbers depend on the position, so that a pixel does not depend on the order of drawing.
std::uint64_t hash(std::uint64_t v) {  // splitmix64
    v += 0x9E3779B97F4A7C15U;
    v = (v ^ (v >> 30U)) * 0xBF58476D1CE4E5B9U;
    v = (v ^ (v >> 27U)) * 0x94D049BB133111EBU;
    return v ^ (v >> 31U);
}
std::uint64_t hash_of(unsigned seed, unsigned layer, std::uint32_t x, std::uint32_t y) {
    return hash(hash((std::uint64_t{seed} << 8U) + layer) ^ ((std::uint64_t{y} << 32U) | x));
}

// Nearly normal noise with mean 0 and deviation 1: the scaled sum of four uniform numbers.
double noise_at(unsigned seed, std::uint32_t x, std::uint32_t y) {
    constexpr double kDeviationOfSum = 37837.2;  // sqrt(4 / 12) * 65536, for four 16-bit numbers
    const std::uint64_t bits = hash_of(seed, 0, x, y);
    const auto sum =
        static_cast<double>((bits & 0xFFFFU) + ((bits >> 16U) & 0xFFFFU) + ((bits >> 32U) & 0xFFFFU) + (bits >> 48U));
    return (sum - 2.0 * 65535.0) / kDeviationOfSum;
}

double smooth_step(double low, double high, double v) {
    const double t = std::clamp((v - low) / (high - low), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// A cloudy texture of one grain size, 0 .. 1: random numbers on a lattice, smoothly interpolated.
double cloud(unsigned seed, unsigned layer, double x, double y) {
    const double fx = std::floor(x);
    const double fy = std::floor(y);
    const auto corner = [&](double dx, double dy) {
        const auto ix = static_cast<std::uint32_t>(static_cast<std::int64_t>(fx + dx));
        const auto iy = static_cast<std::uint32_t>(static_cast<std::int64_t>(fy + dy));
        return static_cast<double>(hash_of(seed, layer, ix, iy) >> 11U) * 0x1p-53;
    };
    const double tx = smooth_step(0.0, 1.0, x - fx);
    const double ty = smooth_step(0.0, 1.0, y - fy);
    return std::lerp(std::lerp(corner(0, 0), corner(1, 0), tx), std::lerp(corner(0, 1), corner(1, 1), tx), ty);
}

// Strands and lobes of several grain sizes, coarse to fine, 0 .. 1.
double glandular_texture(unsigned seed, double x_mm, double y_mm) {
    struct Grain {
        double size_mm, weight;
    };
    constexpr std::array<Grain, 4> kGrains{{{16.0, 0.45}, {7.0, 0.28}, {3.0, 0.17}, {1.2, 0.10}}};
    double sum = 0.0;
    unsigned layer = 1;
    for (const Grain& grain : kGrains) {
        // Each lattice is rotated, because its rows and columns would show otherwise.
        const double c = std::cos(layer);
        const double s = std::sin(layer);
        const double u = (c * x_mm - s * y_mm) / grain.size_mm;
        const double v = (s * x_mm + c * y_mm) / grain.size_mm;
        sum += grain.weight * cloud(seed, layer, u, v);
        ++layer;
    }
    return sum;
}

// Brightness as a share of the full range. Frames are brighter than any tissue, and muscle is brighter than fat.
constexpr double kFilmBackground = 0.045;
constexpr double kFat = 0.34;
constexpr double kGland = 0.30;  // at most, on top of fat
constexpr double kMuscle = 0.68;
constexpr double kFrameLevel = 0.97;
constexpr double kSkinDepthMm = 9.0;  // the compressed breast thins out over this distance to the skin

/// What lies where, in millimetres: x from the chest wall, y from the top.
class Anatomy {
public:
    explicit Anatomy(const PhantomSettings& settings)
        : width(settings.width * settings.pixel_size_um / 1000.0),
          height(settings.height * settings.pixel_size_um / 1000.0),
          has_muscle(settings.view == VIEW_PECT),
          frame(settings.frame == PhantomFrame::kCollimation ? 0.065 * std::min(width, height) : 0.0),
          frame_at_wall(frame / 3.0) {}

    [[nodiscard]] PhantomLabel label(double x, double y) const {
        if (x < frame_at_wall || y < frame || x >= width - frame || y >= height - frame) return kLabelFrame;
        if (muscle_depth(x, y) > 0.0) return kLabelPectoral;
        return skin_depth(x, y) > 0.0 ? kLabelBreast : kLabelBackground;
    }

    /// Approximate distance to the skin in millimetres; negative outside the breast.
    [[nodiscard]] double skin_depth(double x, double y) const {
        const double reach = 0.58 * width;
        const double centre = (has_muscle ? 0.56 : 0.50) * height;
        const double half_height = (y < centre ? (has_muscle ? 0.72 : 0.40) : 0.36) * height;
        const double u = x / reach;
        const double v = (y - centre) / half_height;
        return (1.0 - std::sqrt(u * u + v * v)) * std::min(reach, 0.36 * height);
    }

    /// Distance to the straight border of the muscle in millimetres; negative outside the muscle.
    [[nodiscard]] double muscle_depth(double x, double y) const {
        if (!has_muscle) return -1.0;
        const double at_top = 0.36 * width;
        const double at_wall = 0.52 * height;
        return (1.0 - x / at_top - y / at_wall) / std::hypot(1.0 / at_top, 1.0 / at_wall);
    }

    [[nodiscard]] double tissue(unsigned seed, double x, double y) const {
        const double skin = skin_depth(x, y);
        const double thickness = std::sqrt(smooth_step(0.0, kSkinDepthMm, skin));
        const double behind_nipple = smooth_step(6.0, 30.0, skin) * smooth_step(-12.0, 25.0, -muscle_depth(x, y));
        const double gland = kGland * behind_nipple * smooth_step(0.35, 0.7, glandular_texture(seed, x, y));
        const double fat = kFat + 0.06 * (cloud(seed, 9, x / 5.0, y / 5.0) - 0.5);
        const double soft = (fat + gland) * thickness;
        const double muscle = kMuscle + 0.05 * (cloud(seed, 10, x / 6.0, y / 3.0) - 0.5);
        return std::lerp(soft, std::max(muscle, soft), smooth_step(-0.8, 0.8, muscle_depth(x, y)));
    }

private:
    double width, height;
    bool has_muscle;
    double frame;
    double frame_at_wall;
};

double brightness(const PhantomSettings& settings, const Anatomy& anatomy, PhantomLabel label, double x, double y) {
    if (label == kLabelFrame) return kFrameLevel;
    const double background = settings.look == PhantomLook::kFilm ? kFilmBackground : 0.0;
    if (label == kLabelBackground) return background;
    return std::max(anatomy.tissue(settings.seed, x, y), background);
}

// The number of photons has a Poisson distribution, so the noise grows with the square root of the brightness.
double noise_scale(const PhantomSettings& settings, double level) { return settings.noise * std::sqrt(level / 0.5); }

}  // namespace

Phantom draw_phantom(const PhantomSettings& settings) {
    Phantom phantom{settings, {}, {}};
    phantom.pixels.reserve(std::size_t{settings.width} * settings.height);
    phantom.labels.reserve(std::size_t{settings.width} * settings.height);
    const Anatomy anatomy(settings);
    const double top_level = std::ldexp(1.0, static_cast<int>(settings.used_bits)) - 1.0;
    const double millimetres = settings.pixel_size_um / 1000.0;
    for (unsigned y = 0; y < settings.height; ++y) {
        for (unsigned x = 0; x < settings.width; ++x) {
            const unsigned from_wall = settings.side == SIDE_CHEST_LEFT ? x : settings.width - 1 - x;
            const double x_mm = (from_wall + 0.5) * millimetres;
            const double y_mm = (y + 0.5) * millimetres;
            const PhantomLabel label = anatomy.label(x_mm, y_mm);
            const double clean = brightness(settings, anatomy, label, x_mm, y_mm);
            const double level = clean + noise_scale(settings, clean) * noise_at(settings.seed, x, y);
            phantom.pixels.push_back(static_cast<std::uint16_t>(std::lround(std::clamp(level, 0.0, 1.0) * top_level)));
            phantom.labels.push_back(label);
        }
    }
    return phantom;
}

}  // namespace Norvane::Host
