// SPDX-License-Identifier: Apache-2.0
#include "verbs/phantom_options.h"

#include "option_texts.h"

namespace Norvane::Host {

PhantomOptionSet::PhantomOptionSet(CLI::App& app)
    : verb(app.add_subcommand("phantom", "Draw a synthetic mammogram whose masks are known")) {
    verb->add_option("FILE", options.file, "PNG file to write")->required();
    verb->add_option("--labels", options.labels_file,
                     "PNG file for the truth: 0 frame, 64 background, 128 breast, 255 pectoral muscle");
    const auto add_choice = [this](const char* name, std::string& text, const std::string& help,
                                   const std::vector<std::string>& names) {
        verb->add_option(name, text, help)->check(CLI::IsMember(names))->capture_default_str();
    };
    add_choice("--side", side, "Border of the chest wall", kSideNames);
    add_choice("--view", view, "mlo with pectoral muscle, cc without", kViewNames);
    add_choice("--frame", frame, "Bright collimation frame around the field, or none", {"collimation", "none"});
    add_choice("--look", look, "film: grey, noisy background; digital: black and flat", {"film", "digital"});
    PhantomSettings& settings = options.settings;
    const auto add_number = [this](const char* name, auto& number, const char* help, auto least, auto most) {
        verb->add_option(name, number, help)->check(CLI::Range(least, most))->capture_default_str();
    };
    verb->add_option("--seed", settings.seed, "Texture and noise")->capture_default_str();
    add_number("--width", settings.width, "Pixels", 64U, 8192U);
    add_number("--height", settings.height, "Pixels", 64U, 8192U);
    add_number("--pixel-size", settings.pixel_size_um, "Micrometres", 10.0, 1000.0);
    add_number("--bits", settings.used_bits, "Used bits of the samples", 8U, 16U);
    add_number("--noise", settings.noise, "Noise, as a share of the full range", 0.0, 0.2);
}

PhantomOptions PhantomOptionSet::finish() {
    options.settings.side = side_of(side);
    options.settings.view = view_of(view);
    options.settings.frame = frame == "none" ? PhantomFrame::kNone : PhantomFrame::kCollimation;
    options.settings.look = look == "digital" ? PhantomLook::kDigital : PhantomLook::kFilm;
    return options;
}

}  // namespace Norvane::Host
