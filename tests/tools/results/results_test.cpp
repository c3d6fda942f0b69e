// SPDX-License-Identifier: Apache-2.0
#include "analysis/image_rows.h"
#include "results/grey_range.h"
#include "results/mask_outline.h"
#include "results/output_set.h"
#include "support/builders.h"
#include "tools/host_support.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <cmath>
#include <csignal>

namespace Norvane::Tests {
namespace {

using ::testing::ElementsAre;

TEST(OutputSet, AppearsWholeOrNotAtAll) {
    const TemporaryFolder folder;
    folder.write("old", "before");
    {
        Host::OutputSet outputs;
        outputs.add(folder.path("old"), "after");
        EXPECT_THROW(outputs.add(folder.path("no such folder/new"), "new"), Host::Refusal);
        outputs.add(folder.path("new"), "new");
    }
    EXPECT_THAT(folder.names(), ElementsAre("old"));
    EXPECT_EQ("before", Host::read_bytes(folder.path("old")));
    Host::OutputSet outputs;
    outputs.add(folder.path("old"), std::string("after\0!", 7));
    outputs.add(folder.path("new"), "");
    outputs.commit();
    EXPECT_THAT(folder.names(), ElementsAre("new", "old"));
    EXPECT_EQ(std::string("after\0!", 7), Host::read_bytes(folder.path("old")));
}

TEST(OutputSet, WritesIntoAPipeAndLeavesItInItsPlace) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    const int reader = ::open(pipe.c_str(), O_RDWR | O_NONBLOCK);
    {
        Host::OutputSet outputs;
        outputs.add(pipe, "bytes");
        EXPECT_TRUE(outputs.files().empty());
        outputs.commit();
    }
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_THAT(folder.names(), ElementsAre("pipe"));
    std::array<char, 9> read{};
    EXPECT_EQ(5, ::read(reader, read.data(), read.size()));
    EXPECT_STREQ("bytes", read.data());
    ::close(reader);
}

// The system refuses to let a file grow, as it does on a full disk.
TEST(OutputSet, AFileThatDoesNotFitIsRefusedAndLeavesNothing) {
    const TemporaryFolder folder;
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
    rlimit small = before;
    small.rlim_cur = 4096;
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &small);
    std::string message;
    {
        Host::OutputSet outputs;
        outputs.add(folder.path("first"), "fits");
        try {
            outputs.add(folder.path("second"), std::string(10000, 'x'));
        } catch (const Host::Refusal& refusal) {
            message = refusal.what();
        }
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    (void)std::signal(SIGXFSZ, handler);
    EXPECT_EQ("has results that cannot be written: " + folder.path("second") + ": File too large", message);
    EXPECT_THAT(folder.names(), ::testing::IsEmpty());
}

TEST(GreyRange, ShowsTheWindowOfTheSource) {
    Host::SourceImage source;
    source.used_bits = 12;
    const auto shown = [&source](unsigned sample) {
        const unsigned level = (source.needs_inversion ? 4095 - sample : sample) * 16;
        return int{Host::grey_range_of(source).shown(static_cast<std::uint16_t>(level))};
    };
    EXPECT_THAT((std::array{shown(0), shown(1000), shown(4095)}), ElementsAre(0, 62, 255));
    source.window = Host::DisplayWindow{2000, 1000};
    EXPECT_THAT((std::array{shown(1500), shown(2000), shown(2499), shown(4095)}), ElementsAre(0, 128, 255, 255));
    source.needs_inversion = true;
    EXPECT_THAT((std::array{shown(0), shown(1501), shown(2000), shown(2500)}), ElementsAre(255, 255, 127, 0));
    source.window = Host::DisplayWindow{-500, 900};  // nothing would show
    EXPECT_THAT((std::array{shown(0), shown(4095)}), ElementsAre(255, 0));
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
        const Host::MaskBitmap bitmap = Host::bitmap_of(mask, 23, 17);
        const auto lines = Host::outlines_of(bitmap);
        std::size_t points = 0;
        for (const Host::Outline& line : lines) {
            points += line.size();
            for (std::size_t i = 0; i < line.size(); ++i) {  // no jumps, the closing step included
                const auto& a = line[i];
                const auto& b = line[(i + 1) % line.size()];
                EXPECT_LE(std::hypot(a.x - b.x, a.y - b.y), 1.0001);
            }
        }
        EXPECT_EQ(boundary_edges(bitmap_of(mask, 23, 17)), points);
        EXPECT_EQ(runs_of(mask).empty(), lines.empty());
    }
}

TEST(MaskOutline, OneLinePerIslandAndHole) {
    Mask corner_neighbours = mask_of(std::vector<RowRun>{{0, 0, 1}, {1, 2, 3}});
    EXPECT_EQ(2U, Host::outlines_of(Host::bitmap_of(corner_neighbours, 5, 5)).size());
    Mask ring = mask_of(std::vector<RowRun>{{0, 0, 2}, {1, 0, 0}, {1, 2, 2}, {2, 0, 2}});
    EXPECT_EQ(2U, Host::outlines_of(Host::bitmap_of(ring, 3, 3)).size());
    Mask beyond = mask_of(std::vector<RowRun>{{1, 1, 90}, {80, 0, 2}});  // cut at the grid
    EXPECT_EQ(1U, Host::outlines_of(Host::bitmap_of(beyond, 5, 5)).size());
    EXPECT_EQ(93U, Host::area_of(beyond));
}

}  // namespace
}  // namespace Norvane::Tests
