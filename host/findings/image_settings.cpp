// SPDX-License-Identifier: Apache-2.0
#include "findings/image_settings.h"

#include "findings/chest_wall_side.h"
#include "findings/noise_choice.h"
#include "io/number_text.h"
#include "io/refusal.h"

namespace Norvane::Host {
namespace {

// The field that says something. Formats without fields have one way of saying it.
std::string said_by(const std::string& field) { return field.empty() ? "as the file says" : field; }

void settle_view(const AnalysisOptions& options, const SourceImage& source, ImageSettings& settings) {
    if (options.view) {
        settings.view = *options.view;
        settings.view_reason = "as given";
    } else if (source.view) {
        settings.view = *source.view;
        settings.view_reason = said_by(source.view_from);
    } else {
        throw Refusal("does not say its view: give --view mlo or --view cc");
    }
}

void settle_pixel_size(const AnalysisOptions& options, const SourceImage& source, ImageSettings& settings) {
    if (options.pixel_size_um) {
        settings.pixel_size_um = *options.pixel_size_um;
        settings.pixel_size_reason = "as given";
    } else if (source.pixel_size_um) {
        settings.pixel_size_um = *source.pixel_size_um;
        settings.pixel_size_reason = source.pixel_size_from;
    } else {
        throw Refusal("does not say its pixel size: give --pixel-size in micrometres");
    }
    if (settings.pixel_size_um > static_cast<double>(Masking::c_lowres_pixelsize)) {
        throw Refusal("has pixels of " + number_text(settings.pixel_size_um) + " micrometres (" +
                      settings.pixel_size_reason + "); 228 is the largest size that can be used");
    }
}

void carry_options_over(const AnalysisOptions& options, SourceImage& source) {
    if (options.is_inverted) source.needs_inversion = true;
    if (!options.padding) return;
    source.padding = options.padding;
    if (source.used_bits < 16 && options.padding->high >> source.used_bits != 0) {
        throw Refusal("has samples of " + std::to_string(source.used_bits) + " bits; the padding value " +
                      std::to_string(options.padding->high) + " does not fit");
    }
}

// Padding values that the user gives are meant as the background; those of a file are used when the class asks for
// them.
void settle_given_noise(const AnalysisOptions& options, const SourceImage& source, ImageSettings& settings) {
    if (options.noise) {
        settings.noise = *options.noise;
        settings.noise_reason = "as given";
    } else if (options.padding) {
        settings.noise = BG_GIVEN_LEVEL;
        settings.noise_reason = "padding values are given";
    } else if (source.noise && !options.tries_noise) {
        settings.noise = *source.noise;
        settings.noise_reason = said_by(source.noise_from);
    }
    if (settings.noise == BG_GIVEN_LEVEL && !source.padding) {
        throw Refusal("does not say its padding values, which the class given-level needs: give --padding LO:HI");
    }
}

// The header's border, unless the pixels clearly show another one.
void check_header_side(const SourceImage& source, const BrighterBorder& border, ImageSettings& settings,
                       std::vector<std::string>& warnings) {
    settings.side = *source.chest_wall;
    settings.side_reason = said_by(source.chest_wall_from);
    if (!border.is_clear || border.side == source.chest_wall) return;
    settings.side = *border.side;
    settings.side_reason = std::string("the ") + name_of(settings.side) + " border is the brighter one (" +
                           border.means + "), against " + source.chest_wall_from;
    warnings.push_back(source.chest_wall_from + " puts the chest wall at the " + name_of(*source.chest_wall) +
                       " border, but the " + name_of(settings.side) + " one is clearly brighter (" + border.means +
                       "): the pixels were followed");
}

// A mirrored image is nothing unusual. Where the header names both breast and chest wall, it may be a mistake too.
void compare_with_laterality(const SourceImage& source, const ImageSettings& settings,
                             std::vector<std::string>& warnings) {
    if (!source.laterality || !source.chest_wall || hung_side(*source.laterality) == settings.side) return;
    warnings.push_back(source.laterality_from + " says a " + name_of(*source.laterality) +
                       " breast, but its chest wall is at the " + name_of(settings.side) +
                       " border: the image is mirrored, or the header wrong");
}

}  // namespace

ImageSettings settle_before_preparation(const AnalysisOptions& options, SourceImage& source) {
    ImageSettings settings;
    settle_view(options, source, settings);
    settle_pixel_size(options, source, settings);
    carry_options_over(options, source);
    settle_given_noise(options, source, settings);
    settings.is_inverted = source.needs_inversion;
    return settings;
}

void settle_side(const AnalysisOptions& options, const SourceImage& source, const Image& prepared,
                 ImageSettings& settings, std::vector<std::string>& warnings) {
    if (options.side) {
        settings.side = *options.side;
        settings.side_reason = "as given";
    } else if (source.chest_wall) {
        check_header_side(source, brighter_border(prepared), settings, warnings);
    } else {
        const SideChoice choice = choose_side(prepared, source.laterality);
        settings.side = choice.side;
        settings.side_reason = choice.reason;
    }
    compare_with_laterality(source, settings, warnings);
}

const char* name_of(IMAGE_VIEW view) { return view == VIEW_PECT ? "mlo" : "cc"; }

}  // namespace Norvane::Host
