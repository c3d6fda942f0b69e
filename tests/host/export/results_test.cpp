// SPDX-License-Identifier: Apache-2.0
#include "export/grey_picture.h"
#include "export/mask_outline.h"
#include "export/overlay.h"
#include "findings/region.h"
#include "host/host_support.h"
#include "phantom_analysis.h"
#include "run/named_file.h"
#include "support/builders.h"

#include <fcntl.h>
#include <sys/stat.h>

// Fontconfig keeps what it has found of fonts until the process ends.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }  // NOLINT

namespace Norvane::Tests {
namespace {

using ::testing::ElementsAre;

TEST(OutputSet, AppearsWholeOrNotAtAllAndReplacesOnlyItsOwn) {
    const TemporaryFolder folder;
    folder.write("old", "before");
    const auto is_old = [](const std::string& name, std::uintmax_t size) { return name == "old" && size == 6; };
    Outputs(folder.path("")).set.add("new", "given up");
    EXPECT_THAT(folder.names(), ElementsAre("old"));
    {
        Outputs outputs(folder.path(""));
        outputs.set.add("old", std::string("after\0!", 7));
        outputs.set.add("new", "");
        EXPECT_THROW(outputs.commit(), Host::Refusal);
        EXPECT_EQ("before", read_bytes(folder.path("old")));
        outputs.set.commit(is_old);
    }
    EXPECT_THAT(folder.names(), ElementsAre("new", "old"));
    EXPECT_EQ(std::string("after\0!", 7), read_bytes(folder.path("old")));
}

TEST(NamedFile, GoesIntoAPipeThatStaysAndWaitsForNoReader) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    EXPECT_THROW(Host::write_named_file(pipe, "bytes"), Host::Refusal);
    const int reader = ::open(pipe.c_str(), O_RDWR | O_NONBLOCK);
    Host::write_named_file(pipe, "bytes");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_THAT(folder.names(), ElementsAre("pipe"));
    std::array<char, 9> read{};
    EXPECT_EQ(5, ::read(reader, read.data(), read.size()));
    EXPECT_STREQ("bytes", read.data());
    ::close(reader);
}

TEST(GreyRange, ShowsTheWindowOfTheSource) {
    Host::SourceImage source;
    source.used_bits = 12;
    const auto shown = [&source](unsigned sample) {
        const unsigned level = (source.needs_inversion ? 4095 - sample : sample) * 16;
        return int{Host::grey_range_of(source).shown(static_cast<std::uint16_t>(level))};
    };
    EXPECT_THAT((std::array{shown(0), shown(1000), shown(4095)}), ElementsAre(0, 62, 255));
    source.window = Host::Sourced{Host::DisplayWindow{2000, 1000}};
    EXPECT_THAT((std::array{shown(1500), shown(2000), shown(2499), shown(4095)}), ElementsAre(0, 128, 255, 255));
    source.needs_inversion = true;
    EXPECT_THAT((std::array{shown(0), shown(1501), shown(2000), shown(2500)}), ElementsAre(255, 255, 127, 0));
    source.window = Host::Sourced{Host::DisplayWindow{-500, 900}};  // nothing would show
    EXPECT_THAT((std::array{shown(0), shown(4095)}), ElementsAre(255, 0));
}

TEST(GreyPicture, IsReducedToMeansOfWhatEachPixelCovers) {
    const Host::GreyPicture picture{3, 2, {10, 40, 100, 30, 60, 121}};
    EXPECT_EQ(picture.pixels, Host::reduced(picture, 1.0).pixels);
    EXPECT_THAT(Host::reduced(picture, 0.5).pixels, ElementsAre(35, 111)) << "the last column is cut at the border";
    EXPECT_THAT(Host::reduced(picture, 2.0 / 3.0).pixels, ElementsAre(27, 87, 40, 101));
}

// Beside the picture, each mask has a swatch of its colour and three lines of text, the outer contour one.
TEST(Overlay, HasOutlinesAndTheirLegend) {
    const Host::Surface surface = Host::overlay_surface(analysed_phantom());
    const int width = cairo_image_surface_get_width(surface.get()), panel = width - 380;
    ASSERT_EQ(900, cairo_image_surface_get_height(surface.get()));
    const auto* pixels = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(surface.get()));
    const auto pixel_at = [&](int x, int y) { return pixels[y * width + x] & 0xFFFFFFU; };
    std::map<std::string, int> tops;
    for (const Host::MaskLayer& layer : Host::kMaskLayers) {
        const auto byte = [](double share) { return static_cast<std::uint32_t>(share * 65535.0) >> 8U; };
        const std::uint32_t colour =
            byte(layer.colour.red) << 16U | byte(layer.colour.green) << 8U | byte(layer.colour.blue);
        int drawn = 0, across = 0, down = 0;
        for (int y = 0; y < 900; ++y) {
            for (int x = 0; x < panel; ++x) drawn += pixel_at(x, y) == colour;
            if (pixel_at(panel + 22 + 9, y) != colour) continue;
            if (down++ == 0) tops[layer.key] = y;
            across = 0;
            for (int x = panel + 1; x < width; ++x) across += pixel_at(x, y) == colour;
        }
        const int least = layer.line_width > 5.0 ? 2800 : 400;  // the widest line is seen on both sides of others
        EXPECT_EQ(layer.key != std::string("outer"), drawn > least) << layer.key << drawn;
        EXPECT_EQ(17, across) << layer.key;
        EXPECT_NEAR(8.5, down, 0.5) << layer.key;
    }
    EXPECT_NEAR(65.4, tops["pectoral"] - tops["breast"], 1.0);
    EXPECT_NEAR(65.4, tops["outer"] - tops["pectoral"], 1.0);
    EXPECT_NEAR(29.0, tops["frame"] - tops["outer"], 1.0);
    EXPECT_GT(tops["breast"], tops["full"] + 64);
}

// Edges between inside and outside, counted pixel by pixel.
std::size_t boundary_edges(const Bitmap& b) {
    std::size_t edges = 0;
    for (unsigned y = 0; y < b.height; ++y) {
        for (unsigned x = 0; x < b.width; ++x) {
            if (!b.at(x, y)) continue;
            edges += !b.at(x + 1, y) + !b.at(x, y + 1) + (x == 0 || !b.at(x - 1, y)) + (y == 0 || !b.at(x, y - 1));
        }
    }
    return edges;
}

TEST(MaskOutline, EveryEdgeOnceInClosedLines) {
    Random random(7);
    for (int round = 0; round < 60; ++round) {
        Mask mask = random_mask(random, 23, 17);
        const auto lines = Host::outlines_of(Host::Region(mask), 23, 17);
        std::size_t points = 0;
        for (const Host::Outline& line : lines) {
            points += line.size();
            Host::OutlinePoint last = line.back();
            for (const Host::OutlinePoint& point : line) {  // no jumps, the closing step included
                EXPECT_LE(std::hypot(point.x - last.x, point.y - last.y), 1.0001);
                last = point;
            }
        }
        EXPECT_EQ(boundary_edges(bitmap_of(mask, 23, 17)), points);
        EXPECT_EQ(runs_of(mask).empty(), lines.empty());
    }
}

TEST(MaskOutline, OneLinePerIslandAndHole) {
    const auto check = [](const char* what, Mask mask, std::size_t lines, std::size_t area) {
        EXPECT_EQ(lines, Host::outlines_of(Host::Region(mask), 5, 5).size()) << what;
        EXPECT_EQ(area, Host::Region(mask).area()) << what;
    };
    check("corner neighbours", mask_of({{0, 0, 1}, {1, 2, 3}}), 2, 4);
    check("a ring", mask_of({{0, 0, 2}, {1, 0, 0}, {1, 2, 2}, {2, 0, 2}}), 2, 8);
    check("cut at the grid", mask_of({{1, 1, 90}, {80, 0, 2}}), 1, 93);
}

}  // namespace
}  // namespace Norvane::Tests
