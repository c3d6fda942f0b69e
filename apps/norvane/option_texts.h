// SPDX-License-Identifier: Apache-2.0
/// Option values that several verbs share.
#pragma once

#include "io/read_options.h"

#include <CLI/CLI.hpp>

#include <norvane/masking.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Norvane::Host {

inline constexpr const char* kExitCodesHelp =
    "Exit code: 0 everything was done, 1 some input was refused or failed (a line on standard error names it), 2 the "
    "command line is wrong or the run would replace files that are not its own, 130 the run was interrupted. A status "
    "other than 0, such as \"tissue cut\", is a result "
    "and "
    "not a failure: it tells how far to trust the masks.";

inline const std::vector<std::string> kSideNames{"left", "right"};
inline const std::vector<std::string> kViewNames{"mlo", "cc"};

[[nodiscard]] inline IMAGE_SIDE side_of(const std::string& text) {
    return text == "left" ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
}
[[nodiscard]] inline IMAGE_VIEW view_of(const std::string& text) { return text == "mlo" ? VIEW_PECT : VIEW_NO_PECT; }

/// Unlike the check of CLI11, it lets no "nan" through and does not print the largest number that there is.
[[nodiscard]] inline std::string check_positive(const std::string& text) {
    double number = 0.0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    const bool is_good = parsed.ec == std::errc() && parsed.ptr == end && std::isfinite(number) && number > 0.0;
    return is_good ? std::string() : "'" + text + "' is not a number above 0";
}

inline CLI::Option* add_frame_option(CLI::App& verb, ReadOptions& options) {
    return verb.add_option("--frame", options.frame, "Which frame of a file that holds several, from 1")
        ->check(check_positive);
}

/// Returns the option, for its group in the help.
inline CLI::Option* add_memory_option(CLI::App& verb, ReadOptions& options) {
    constexpr unsigned kMostMebibytes = 1U << 20;
    const auto take = [&options](unsigned mebibytes) { options.image_memory = std::uint64_t{mebibytes} << 20U; };
    return verb
        .add_option_function<unsigned>("--image-memory", take,
                                       "Refuse an image that needs more memory than this, in MiB")
        ->type_name("MIB")
        ->check(CLI::Range(1U, kMostMebibytes))
        ->default_str(std::to_string(kDefaultImageMemory >> 20U));
}

inline const std::map<std::string, DecodingPlace> kDecodingPlaces{{"isolated", DecodingPlace::kWorker},
                                                                  {"in-process", DecodingPlace::kThisProcess}};

inline CLI::Option* add_decode_option(CLI::App& verb, ReadOptions& options) {
    const auto take = [&options](const std::string& name) { options.decoding = kDecodingPlaces.at(name); };
    return verb
        .add_option_function<std::string>("--decode", take,
                                          "Where JPEG and JPEG 2000 pixels of DICOM files are decoded: in a process of "
                                          "its own, or in this one, which damaged data may then end")
        ->check(CLI::IsMember(kDecodingPlaces))
        ->default_str("isolated");
}

/// Two numbers with `separator` between them, and nothing else.
template <class Number>
[[nodiscard]] std::optional<std::pair<Number, Number>> number_pair_of(const std::string& text, char separator) {
    std::pair<Number, Number> pair{};
    const char* end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, pair.first);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != separator) return std::nullopt;
    const auto second = std::from_chars(first.ptr + 1, end, pair.second);
    if (second.ec != std::errc() || second.ptr != end) return std::nullopt;
    return pair;
}

}  // namespace Norvane::Host
