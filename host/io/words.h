// SPDX-License-Identifier: Apache-2.0
/// The words for sides, views, breasts and noise classes in options, files and messages. Each is declared only here.
#pragma once

#include <norvane/masking.h>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace Norvane::Host {

/// Which breast it is. This does not tell where the chest wall lies, because archives also store mirrored images.
enum class Laterality { kLeft, kRight };

template <class Value, std::size_t count>
using Words = std::array<std::pair<const char*, Value>, count>;

inline constexpr Words<IMAGE_SIDE, 2> kSideWords{{{"left", SIDE_CHEST_LEFT}, {"right", SIDE_CHEST_RIGHT}}};
inline constexpr Words<IMAGE_VIEW, 2> kViewWords{{{"mlo", VIEW_PECT}, {"cc", VIEW_NO_PECT}}};
inline constexpr Words<Laterality, 2> kLateralityWords{{{"left", Laterality::kLeft}, {"right", Laterality::kRight}}};
inline constexpr Words<BG_NOISE, 10> kNoiseNames{{
    {"auto-coarse", BG_AUTO_COARSE},
    {"mg", BG_MG},
    {"mg-raw", BG_MG_RAW},
    {"given-level", BG_GIVEN_LEVEL},
    {"auto-fine", BG_AUTO},
    {"fixed-mid", BG_FIXED_MID},
    {"fixed-high", BG_FIXED_HIGH},
    {"mg-raw-2", BG_MG_RAW_2},
    {"mg-raw-3", BG_MG_RAW_3},
    {"auto-medium", BG_AUTO_MEDIUM},
}};

/// The word for a value; "unknown" if there is none.
template <class Value, std::size_t count>
[[nodiscard]] constexpr const char* word_for(const Words<Value, count>& words, Value value) {
    for (const auto& [word, its_value] : words) {
        if (its_value == value) return word;
    }
    return "unknown";
}
/// What a word stands for.
template <class Value, std::size_t count>
[[nodiscard]] constexpr std::optional<Value> value_of(const Words<Value, count>& words, std::string_view text) {
    for (const auto& [word, its_value] : words) {
        if (text == word) return its_value;
    }
    return std::nullopt;
}

[[nodiscard]] constexpr const char* name_of(IMAGE_SIDE side) { return word_for(kSideWords, side); }
[[nodiscard]] constexpr const char* name_of(IMAGE_VIEW view) { return word_for(kViewWords, view); }
[[nodiscard]] constexpr const char* name_of(Laterality laterality) { return word_for(kLateralityWords, laterality); }
[[nodiscard]] constexpr const char* name_of(BG_NOISE noise) { return word_for(kNoiseNames, noise); }

}  // namespace Norvane::Host
