// SPDX-License-Identifier: Apache-2.0
#include "findings/image_settings.h"

#include "findings/chest_wall_side.h"
#include "io/number_text.h"
#include "io/refusal.h"

#include <fmt/format.h>

namespace Norvane::Host {
namespace {

// A fact with its field. Formats without named fields have only one place for it, so it needs no name.
template <class Value>
Sourced<Value> said_by(const Sourced<Value>& fact) {
    return {fact.value, fact.from.empty() ? "as the file says" : fact.from};
}

constexpr const char* kByDefault = "the default that is given, as the file does not say it";

Sourced<IMAGE_VIEW> settle_view(const AnalysisOptions& options, const SourceImage& source) {
    if (options.view) return {*options.view, "as given"};
    if (source.view) return said_by(*source.view);
    if (options.defaults.view) return {*options.defaults.view, kByDefault};
    throw Refusal("does not say its view: give --default-view mlo or --default-view cc");
}

Sourced<double> settle_pixel_size(const AnalysisOptions& options, const SourceImage& source) {
    Sourced<double> size;
    if (options.pixel_size_um) {
        size = {*options.pixel_size_um, "as given"};
    } else if (source.pixel_size_um) {
        size = *source.pixel_size_um;
    } else if (options.defaults.pixel_size_um) {
        size = {*options.defaults.pixel_size_um, kByDefault};
    } else {
        throw Refusal("does not say its pixel size: give --default-pixel-size in micrometres");
    }
    if (size.value > static_cast<double>(Masking::c_lowres_pixelsize)) {
        throw Refusal(fmt::format("has pixels of {} micrometres ({}); 228 is the largest size that can be used",
                                  number_text(size.value), size.from));
    }
    return size;
}

// An option for a whole folder may be meant for the files in it that do not say their view.
void compare_with_header_view(const SourceImage& source, IMAGE_VIEW view, std::vector<std::string>& warnings) {
    if (!source.view || source.view->value == view) return;
    warnings.push_back(
        fmt::format("{} says {}, but {} was given: to fill only what files do not say, give "
                    "--default-view {} instead of --view",
                    source.view->from, name_of(source.view->value), name_of(view), name_of(view)));
}

void warn_of_special_view(const SourceImage& source, std::vector<std::string>& warnings) {
    if (source.flags.empty()) return;
    warnings.push_back(fmt::format(
        "the header says that this is no plain view of a whole breast ({}), which the masks are made for: look at them",
        fmt::join(source.flags, ", ")));
}

void carry_options_over(const AnalysisOptions& options, SourceImage& source) {
    if (options.is_inverted) source.needs_inversion = true;
    if (!options.padding) return;
    source.padding = Sourced{*options.padding, "as given"};
    if (source.used_bits < 16 && options.padding->high >> source.used_bits != 0) {
        throw Refusal(fmt::format("has samples of {} bits; the padding value {} does not fit", source.used_bits,
                                  options.padding->high));
    }
}

// If the user gives padding values, they are the background. Those of a file are used only if the class needs them.
Sourced<BG_NOISE> settle_given_noise(const AnalysisOptions& options, const SourceImage& source) {
    Sourced<BG_NOISE> noise{BG_AUTO_COARSE, {}};
    if (options.noise) {
        noise = {*options.noise, "as given"};
    } else if (options.padding) {
        noise = {BG_GIVEN_LEVEL, "padding values are given"};
    } else if (source.noise && !options.tries_noise) {
        noise = said_by(*source.noise);
    }
    if (noise.value == BG_GIVEN_LEVEL && !source.padding) {
        throw Refusal("does not say its padding values, which the class given-level needs: give --padding LO:HI");
    }
    return noise;
}

// The border that the header names, unless the pixels clearly show the other one.
Sourced<IMAGE_SIDE> check_header_side(const Sourced<IMAGE_SIDE>& header, const BrighterBorder& border,
                                      std::vector<std::string>& warnings) {
    if (!border.is_clear || border.side == header.value) return said_by(header);
    const std::string shown = name_of(*border.side);
    warnings.push_back(fmt::format(
        "{} puts the chest wall at the {} border, but the {} one is clearly brighter ({}): the pixels were followed",
        header.from, name_of(header.value), shown, border.means));
    return {*border.side,
            fmt::format("the {} border is the brighter one ({}), against {}", shown, border.means, header.from)};
}

// Mirrored images are common. But if the header names both breast and chest wall, one of them may be wrong.
void compare_with_laterality(const SourceImage& source, IMAGE_SIDE side, std::vector<std::string>& warnings) {
    if (!source.laterality || !source.chest_wall || hung_side(source.laterality->value) == side) return;
    warnings.push_back(fmt::format(
        "{} says a {} breast, but its chest wall is at the {} border: the image is mirrored, or the header is wrong",
        source.laterality->from, name_of(source.laterality->value), name_of(side)));
}

}  // namespace

ImageSettings settle_before_preparation(const AnalysisOptions& options, SourceImage& source,
                                        std::vector<std::string>& warnings) {
    ImageSettings settings;
    settings.view = settle_view(options, source);
    compare_with_header_view(source, settings.view.value, warnings);
    warn_of_special_view(source, warnings);
    settings.pixel_size_um = settle_pixel_size(options, source);
    carry_options_over(options, source);
    settings.noise = settle_given_noise(options, source);
    settings.is_inverted = source.needs_inversion;
    return settings;
}

Sourced<IMAGE_SIDE> settle_side(const AnalysisOptions& options, const SourceImage& source, const Image& prepared,
                                std::vector<std::string>& warnings) {
    Sourced<IMAGE_SIDE> side;
    if (options.side) {
        side = {*options.side, "as given"};
    } else if (source.chest_wall) {
        side = check_header_side(*source.chest_wall, brighter_border(prepared), warnings);
    } else {
        side = choose_side(prepared, source.laterality, options.defaults.side);
    }
    compare_with_laterality(source, side.value, warnings);
    return side;
}

}  // namespace Norvane::Host
