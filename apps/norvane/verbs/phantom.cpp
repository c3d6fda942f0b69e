// SPDX-License-Identifier: Apache-2.0
#include "phantom/phantom.h"
#include "export/source_masks.h"
#include "export/write_png.h"
#include "io/number_text.h"
#include "io/printable.h"
#include "io/refusal.h"
#include "io/words.h"
#include "run/exit_code.h"
#include "run/named_file.h"
#include "verbs/verb.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

struct PhantomOptions {
    std::string file;
    std::string labels_file;  // empty: none
    PhantomSettings settings;
};

constexpr std::array kFrames{std::pair{"collimation", PhantomFrame::kCollimation},
                             std::pair{"none", PhantomFrame::kNone}};
constexpr std::array kLooks{std::pair{"film", PhantomLook::kFilm}, std::pair{"digital", PhantomLook::kDigital}};

// A setting whose value is one of several names. The first name is the default.
template <class Names, class Value>
Option<PhantomOptions> choice(const char* name, const Names& names, Value PhantomSettings::*setting, const char* help) {
    return {{.name = name, .choices = choices_of(names), .help = help, .otherwise = names.front().first},
            [&names, setting](PhantomOptions& options, const std::string& text) {
                options.settings.*setting = value_named(names, text);
            }};
}

using Range = std::optional<std::pair<double, double>>;

Option<PhantomOptions> count(const char* name, unsigned PhantomSettings::*setting, const Range& range,
                             const char* help) {
    return {{.name = name,
             .value = "N",
             .range = range,
             .help = help,
             .otherwise = std::to_string(PhantomSettings().*setting)},
            [setting](PhantomOptions& options, const std::string& text) {
                options.settings.*setting = whole_number_of(text);
            }};
}

Option<PhantomOptions> measure(const char* name, const char* value, double PhantomSettings::*setting,
                               const Range& range, const char* help) {
    return {
        {.name = name,
         .value = value,
         .range = range,
         .help = help,
         .otherwise = number_text(PhantomSettings().*setting)},
        [setting](PhantomOptions& options, const std::string& text) { options.settings.*setting = number_of(text); }};
}

OptionTable<PhantomOptions> phantom_options() {
    constexpr std::pair kPixels{64.0, 8192.0};
    return {{{.name = "labels",
              .value = "FILE",
              .help = "PNG file for the truth, as norvane score reads it: 1 breast, 2 pectoral muscle"},
             [](PhantomOptions& options, const std::string& text) { options.labels_file = text; }},
            choice("side", kSideWords, &PhantomSettings::side, "Border of the chest wall"),
            choice("view", kViewWords, &PhantomSettings::view, "mlo shows the pectoral muscle, cc does not"),
            choice("frame", kFrames, &PhantomSettings::frame, "Bright collimation frame around the field, or none"),
            choice("look", kLooks, &PhantomSettings::look,
                   "Background: grey and noisy on film, black and flat on digital images"),
            count("seed", &PhantomSettings::seed, {}, "Seed of the random texture and noise"),
            count("width", &PhantomSettings::width, kPixels, "Width in pixels"),
            count("height", &PhantomSettings::height, kPixels, "Height in pixels"),
            measure("pixel-size", "UM", &PhantomSettings::pixel_size_um, {{10.0, 1000.0}}, "Pixel size in micrometres"),
            count("bits", &PhantomSettings::used_bits, {{8.0, 16.0}}, "Used bits of the samples"),
            measure("noise", "SHARE", &PhantomSettings::noise, {{0.0, 0.2}}, "Noise as a share of the full range")};
}

// If the samples use 8 bits, the file has 8 bits, so that the reader finds the number of used bits.
std::string encode_pixels(const Phantom& phantom) {
    const PhantomSettings& settings = phantom.settings;
    if (settings.used_bits > 8) return encode_png(phantom.pixels, settings.width, settings.height);
    return encode_png(std::vector<std::uint8_t>(phantom.pixels.begin(), phantom.pixels.end()), settings.width,
                      settings.height);
}

// The values of the label images that are made of masks.
std::vector<std::uint8_t> truth_of(const Phantom& phantom) {
    std::vector<std::uint8_t> truth(phantom.labels.size(), kLabelNothing);
    std::ranges::transform(phantom.labels, truth.begin(), [](std::uint8_t shown) {
        return shown == kLabelPectoral ? kLabelMuscle : shown == kLabelBreast ? kLabelTissue : kLabelNothing;
    });
    return truth;
}

int draw(const PhantomOptions& options, std::ostream& out, std::ostream& err) {
    const Phantom phantom = draw_phantom(options.settings);
    try {
        write_named_file(options.file, encode_pixels(phantom));
        if (!options.labels_file.empty()) {
            write_named_file(options.labels_file,
                             encode_png(truth_of(phantom), phantom.settings.width, phantom.settings.height));
        }
    } catch (const Refusal& refusal) {
        complain(err, options.file + " " + refusal.what());
        return kExitPartly;
    }
    print_line(out, options.file + ": to make its masks, run");
    print_line(out, "    norvane masks " + options.file + " --side " + name_of(options.settings.side) + " --view " +
                        name_of(options.settings.view) + " --pixel-size " +
                        number_text(options.settings.pixel_size_um));
    return kExitDone;
}

}  // namespace

Verb phantom_verb() {
    return {"phantom",
            "Draw a synthetic mammogram whose masks are known",
            {"FILE", "PNG file to write", true, false},
            facts_of(phantom_options()),
            [](const std::vector<std::string>& files, const GivenOptions& given) -> Task {
                PhantomOptions options{files.front(), {}, {}};
                set_options(options, phantom_options(), given);
                return [options](std::ostream& out, std::ostream& err) { return draw(options, out, err); };
            }};
}

}  // namespace Norvane::Host
