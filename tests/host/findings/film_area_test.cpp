// SPDX-License-Identifier: Apache-2.0
#include "findings/film_area.h"

#include "host/source_images.h"
#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

using Host::PhantomFrame;
using Host::PhantomLook;
using Host::SourceImage;

constexpr double kPixelSizeUm = 400.0;

SourceImage phantom_source(PhantomLook look, IMAGE_SIDE side = SIDE_CHEST_LEFT, IMAGE_VIEW view = VIEW_PECT,
                           PhantomFrame frame = PhantomFrame::kNone) {
    Host::PhantomSettings settings{351, 450, kPixelSizeUm, side, view, frame, look};
    return source_of(Host::draw_phantom(settings));
}

struct Margins {
    unsigned left, right, top, bottom;
};

// The picture with margins of one grey level, give or take `spread`.
SourceImage with_margins(const SourceImage& source, const Margins& margins, unsigned level, unsigned spread) {
    SourceImage wider = source;
    Host::set_size(wider, source.width + margins.left + margins.right, source.height + margins.top + margins.bottom);
    Random random(5);
    for (std::uint16_t& sample : wider.samples) sample = static_cast<std::uint16_t>(level + random.below(spread + 1));
    for (unsigned y = 0; y < source.height; ++y) {
        std::copy_n(&source.samples[std::size_t{y} * source.width], source.width,
                    &wider.samples[std::size_t{y + margins.top} * wider.width + margins.left]);
    }
    return wider;
}

TEST(FilmArea, LiesInsideBlackAndWhiteBorders) {
    constexpr Margins kMargins[] = {{90, 60, 0, 0}, {7, 0, 0, 0}, {0, 200, 33, 0}, {0, 0, 40, 25}, {50, 50, 50, 50}};
    const struct {
        const char* name;
        unsigned level, spread;
    } kinds[] = {
        {"black", 0, 0}, {"nearly black, with noise", 20, 30}, {"white", 4095, 0}, {"white with noise", 3900, 190}};
    for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT}) {
        const SourceImage film = phantom_source(PhantomLook::kFilm, side);
        for (const Margins& margins : kMargins) {
            const Host::SourceBox expected{margins.left, margins.top, film.width, film.height};
            for (const auto& kind : kinds) {
                const SourceImage source = with_margins(film, margins, kind.level, kind.spread);
                SourceImage upper = source;
                upper.used_bits = 13;  // inverted, its levels begin at 4096
                for (const SourceImage& image : {source, inverted(upper)}) {
                    const auto area = Host::find_film_area(image, kPixelSizeUm);
                    EXPECT_EQ(expected, area.value) << kind.name << ", left " << margins.left << ", inverted "
                                                    << image.needs_inversion << ": " << area.from;
                }
            }
        }
    }
}

TEST(FilmArea, IsTheFieldOfACollimationFrame) {
    const auto source = phantom_source(PhantomLook::kFilm, SIDE_CHEST_LEFT, VIEW_PECT, PhantomFrame::kCollimation);
    const auto area = Host::find_film_area(source, kPixelSizeUm);
    const auto is_field = [&](unsigned x, unsigned y) { return source.samples[y * source.width + x] < 3700; };
    EXPECT_TRUE(is_field(area.value.x + 5, area.value.y + 5)) << area.from;
    EXPECT_FALSE(is_field(area.value.x + area.value.width + 1, 225)) << area.from;
    EXPECT_FALSE(is_field(100, area.value.y + area.value.height + 1)) << area.from;
}

TEST(FilmArea, IsTheWholeImageWhereNothingWasPutAround) {
    const auto digital = phantom_source(PhantomLook::kDigital), film = phantom_source(PhantomLook::kFilm);
    SourceImage flat = digital, labelled = digital;
    std::ranges::fill(flat.samples, std::uint16_t{0});
    // A label's straight edge is no film's.
    for (unsigned y = 50; y < 125; ++y)
        std::fill_n(&labelled.samples[y * labelled.width + 290], 45, std::uint16_t{4000});
    const std::pair<const char*, SourceImage> table[] = {
        {"digital, black background to the border", digital},
        {"digital, cc", phantom_source(PhantomLook::kDigital, SIDE_CHEST_RIGHT, VIEW_NO_PECT)},
        {"film", film},
        {"digital with a label", labelled},
        {"nothing at all", flat},
        {"a border of less than a millimetre", with_margins(film, {2, 2, 2, 2}, 0, 0)}};
    for (const auto& [name, source] : table) {
        const auto area = Host::find_film_area(source, kPixelSizeUm);
        EXPECT_EQ(Host::whole_of(source), area.value) << name << ": " << area.from;
    }
}

}  // namespace
}  // namespace Norvane::Tests
