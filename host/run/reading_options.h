// SPDX-License-Identifier: Apache-2.0
/// The options for reading files. They suit tables whose records have a member `reading`.
#pragma once

#include "io/read_options.h"
#include "run/option_table.h"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace Norvane::Host {

inline constexpr std::array kDecodingPlaces{std::pair{"isolated", DecodingPlace::kWorker},
                                            std::pair{"in-process", DecodingPlace::kThisProcess}};

inline constexpr const char* kFrameOption = "frame";
/// Whether the text asks for all frames of a file, as the option of runs may.
[[nodiscard]] inline bool is_all_frames(const std::string& text) { return is_same_word(text, "all"); }

template <class Options>
[[nodiscard]] Option<Options> frame_option(OptionEffect effect) {
    return {{.name = kFrameOption,
             .effect = effect,
             .value = "N",
             .help = "Which frame to use if a file holds several, from 1",
             .otherwise = "a file with several is refused"},
            [](Options& options, const std::string& text) {
                (void)positive_number_of(text);
                options.reading.frame = whole_number_of(text);
            }};
}

template <class Options>
[[nodiscard]] Option<Options> modality_option(OptionEffect effect) {
    return {{.name = "any-modality",
             .kind = OptionKind::kFlag,
             .effect = effect,
             .help = "Read DICOM files of any modality",
             .otherwise = "MG; CR, DX and RG if the view or the body part is that of a mammogram"},
            [](Options& options, const std::string& value) { options.reading.takes_any_modality = value == "true"; }};
}

template <class Options>
[[nodiscard]] Option<Options> memory_option(const std::string& group) {
    constexpr double kMostMebibytes = 1U << 20;
    return {{.name = "image-memory",
             .value = "MIB",
             .range = {{1, kMostMebibytes}},
             .group = group,
             .help = "Refuse images that need more memory than this, in MiB",
             .otherwise = std::to_string(kDefaultImageMemory >> 20U),
             .details = "An image is refused by its header, before so much memory is allocated. Each image that is "
                        "processed at the same time may need as much."},
            [](Options& options, const std::string& text) {
                options.reading.image_memory = std::uint64_t{whole_number_of(text)} << 20U;
            }};
}

template <class Options>
[[nodiscard]] Option<Options> decode_option(const std::string& group) {
    return {{.name = "decode",
             .choices = choices_of(kDecodingPlaces),
             .group = group,
             .help = "Decode the JPEG, JPEG-LS and JPEG 2000 pixels of DICOM files in a separate process, so that "
                     "damaged data costs only one image, or in this process",
             .otherwise = kDecodingPlaces.front().first,
             .details = "Use in-process on systems that cannot start other processes."},
            [](Options& options, const std::string& text) {
                options.reading.decoding = value_named(kDecodingPlaces, text);
            }};
}

// Two flags that exclude each other.
template <class Options>
void set_identifiers(Options& options, Identifiers identifiers) {
    if (options.reading.identifiers != Identifiers::kUids) {
        throw std::invalid_argument("contradicts the option that shows the patient's identifier");
    }
    options.reading.identifiers = identifiers;
}

/// The options that say which identifiers of the header are shown.
template <class Options>
[[nodiscard]] OptionTable<Options> identifier_options(OptionEffect effect, const std::string& group) {
    return {{{.name = "patient-id",
              .kind = OptionKind::kFlag,
              .effect = effect,
              .group = group,
              .help = "Read the patient's identifier from the header and show it",
              .otherwise = "it is not read"},
             [](Options& options, const std::string& text) {
                 if (text == "true") set_identifiers(options, Identifiers::kUidsAndPatient);
             }},
            {{.name = "no-identifiers",
              .kind = OptionKind::kFlag,
              .effect = effect,
              .group = group,
              .help = "Read no identifiers from the header: neither UIDs nor the patient's",
              .otherwise = "the UIDs of image, series and study are read",
              .details = "DICOM SEG objects then hold no data of patient and study, have UIDs of their own, and refer "
                         "to no source. The names of files and folders stay unchanged."},
             [](Options& options, const std::string& text) {
                 if (text == "true") set_identifiers(options, Identifiers::kNone);
             }}};
}

}  // namespace Norvane::Host
