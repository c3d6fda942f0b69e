// SPDX-License-Identifier: Apache-2.0
#include "analysis/film_area.h"

#include "phantom/phantom.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace Norvane::Tests {
namespace {

using Host::SourceBox;
using Host::SourceImage;

constexpr double kPixelSizeUm = 400.0;

SourceImage phantom_source(Host::PhantomLook look, IMAGE_SIDE side, IMAGE_VIEW view = VIEW_PECT,
                           Host::PhantomFrame frame = Host::PhantomFrame::kNone) {
    Host::PhantomSettings settings;
    settings.width = 351;
    settings.height = 450;
    settings.pixel_size_um = kPixelSizeUm;
    settings.side = side;
    settings.view = view;
    settings.look = look;
    settings.frame = frame;
    SourceImage source;
    Host::set_size(source, settings.width, settings.height);
    source.used_bits = settings.used_bits;
    source.samples = Host::draw_phantom(settings).pixels;
    return source;
}

struct Margins {
    unsigned left, right, top, bottom;
};

// The picture with margins of one grey level, give or take `spread`.
SourceImage with_margins(const SourceImage& source, const Margins& margins, unsigned level, unsigned spread) {
    SourceImage wider = source;
    Host::set_size(wider, source.width + margins.left + margins.right, source.height + margins.top + margins.bottom);
    Random random(5);
    for (std::uint16_t& sample : wider.samples) {
        sample = static_cast<std::uint16_t>(level + (spread > 0 ? random.below(spread + 1) : 0));
    }
    for (unsigned y = 0; y < source.height; ++y) {
        std::copy_n(&source.samples[std::size_t{y} * source.width], source.width,
                    &wider.samples[std::size_t{y + margins.top} * wider.width + margins.left]);
    }
    return wider;
}

void invert(SourceImage& source) {
    for (std::uint16_t& sample : source.samples) sample = static_cast<std::uint16_t>(4095 - sample);
    source.needs_inversion = !source.needs_inversion;
}

TEST(FilmArea, LiesInsideBlackAndWhiteBorders) {
    constexpr Margins kMargins[] = {{90, 60, 0, 0}, {7, 0, 0, 0}, {0, 200, 33, 0}, {0, 0, 40, 25}, {50, 50, 50, 50}};
    const struct {
        const char* name;
        unsigned level, spread;
    } kinds[] = {
        {"black", 0, 0}, {"nearly black, with noise", 20, 30}, {"white", 4095, 0}, {"white with noise", 3900, 190}};
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        const SourceImage film = phantom_source(Host::PhantomLook::kFilm, side);
        for (const Margins& margins : kMargins) {
            const SourceBox expected{margins.left, margins.top, film.width, film.height};
            for (const auto& kind : kinds) {
                SourceImage source = with_margins(film, margins, kind.level, kind.spread);
                for (int i = 0; i < 2; ++i, invert(source)) {
                    const auto area = Host::find_film_area(source, kPixelSizeUm);
                    EXPECT_EQ(expected, area.box)
                        << kind.name << ", left " << margins.left << ", inverted " << i << ": " << area.reason;
                }
            }
        }
    }
}

TEST(FilmArea, IsTheFieldOfACollimationFrame) {
    const auto source =
        phantom_source(Host::PhantomLook::kFilm, SIDE_CHEST_LEFT, VIEW_PECT, Host::PhantomFrame::kCollimation);
    const auto area = Host::find_film_area(source, kPixelSizeUm);
    const auto is_field = [&](unsigned x, unsigned y) { return source.samples[y * source.width + x] < 3700; };
    EXPECT_TRUE(is_field(area.box.x + 5, area.box.y + 5)) << area.reason;
    EXPECT_FALSE(is_field(area.box.x + area.box.width + 1, 225)) << area.reason;
    EXPECT_FALSE(is_field(100, area.box.y + area.box.height + 1)) << area.reason;
}

TEST(FilmArea, IsTheWholeImageWhereNothingWasPutAround) {
    const auto digital = phantom_source(Host::PhantomLook::kDigital, SIDE_CHEST_LEFT);
    SourceImage flat = digital;
    std::ranges::fill(flat.samples, std::uint16_t{0});
    // A label's straight edge is no film's.
    SourceImage labelled = digital;
    for (unsigned y = 50; y < 125; ++y)
        std::fill_n(&labelled.samples[y * labelled.width + 290], 45, std::uint16_t{4000});
    const struct {
        const char* name;
        SourceImage source;
    } table[] = {{"digital, black background to the border", digital},
                 {"digital, cc", phantom_source(Host::PhantomLook::kDigital, SIDE_CHEST_RIGHT, VIEW_NO_PECT)},
                 {"film", phantom_source(Host::PhantomLook::kFilm, SIDE_CHEST_LEFT)},
                 {"digital with a label", labelled},
                 {"nothing at all", flat},
                 {"a border of less than a millimetre",
                  with_margins(phantom_source(Host::PhantomLook::kFilm, SIDE_CHEST_LEFT), {2, 2, 2, 2}, 0, 0)}};
    for (const auto& row : table) {
        const auto area = Host::find_film_area(row.source, kPixelSizeUm);
        EXPECT_EQ(Host::whole_of(row.source), area.box) << row.name << ": " << area.reason;
    }
}

}  // namespace
}  // namespace Norvane::Tests
